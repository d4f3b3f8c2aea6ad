#include "core/connectioncore.h"

#include <QCryptographicHash>
#include <QHash>
#include <QMutexLocker>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QVarLengthArray>

#include <QFileInfo>

#include <algorithm>
#include <memory>

#include "core/dialect.h"
#include "core/liststatements_p.h"
#include "core/rules.h"
#include "core/statementcache_p.h"
#include "core/threadconnections.h"
#include "core/trace_p.h"
#include "tool/tessarktool.h"

namespace Tessark {
namespace {

// Column names of a result, first of two same-named columns winning.
struct Columns
{
    QVarLengthArray<int, 32> index;
    QVarLengthArray<QString, 32> name;

    explicit Columns(const QSqlRecord& record)
    {
        for (int i = 0; i < record.count(); ++i) {
            const QString field = record.fieldName(i);
            if (std::find(name.cbegin(), name.cend(), field) != name.cend())
                continue;
            index.append(i);
            name.append(field);
        }
    }

    Row read(const QSqlQuery& query) const
    {
        Row row;
        row.reserve(int(name.size()));
        for (int i = 0; i < name.size(); ++i)
            row.insert(name[i], query.value(index[i]));
        return row;
    }
};

} // namespace

ConnectionCore::ConnectionCore(const BackendRules& rules)
    : m_rules(rules)
    , m_connection(rules.connection)
    , m_connectionName(QLatin1String(rules.connection.initialName))
{
}

ConnectionCore::~ConnectionCore()
{
    // Untagged ("default") connections are shared process-wide and outlive their objects.
    if (!m_connectionName.contains(QLatin1String("default")))
        ThreadConnections::removeAll(m_connectionName);
}

namespace {

QString digest(const QString& text, int digits)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex().left(digits));
}

// Names carry only the file's name, so two files of one name in different
// folders would share the first one's connection and write into its file.
// The first file to use a name keeps it; any other file gets the name and a
// digest of its absolute path.
QString fileConnectionName(const QString& name, const QString& path)
{
    static QMutex mutex;
    static QHash<QString, QString> fileOfName;
    const QString absolute = QFileInfo(path).absoluteFilePath();
    QMutexLocker locker(&mutex);
    const auto owner = fileOfName.constFind(name);
    if (owner == fileOfName.constEnd()) {
        fileOfName.insert(name, absolute);
        return name;
    }
    if (*owner == absolute)
        return name;
    return name + QLatin1Char('#') + digest(absolute, 12);
}

} // namespace

// The name is "<tag or default>|<sign>"; the sign is the file's name for a
// file database, "host|port|user|<password digest>|database" for a server.
// Names and signs end up in Qt's warnings and in applications' diagnostics:
// the digest keeps the password out and still tells two passwords apart.
void ConnectionCore::describe(const ConnInfoModel& info)
{
    m_info = info;
    const QString prefix = (info.ConnectTag.isEmpty() ? QStringLiteral("default") : info.ConnectTag)
                           + QLatin1Char('|');
    if (m_connection.fileDatabase) {
        m_sign = QFileInfo(info.DatabaseName).fileName();
        m_fileMutex = TessarkTool::SQLiteMutex(info.DatabaseName);
        m_connectionName = fileConnectionName(prefix + m_sign, info.DatabaseName);
        return;
    }
    const QString password = info.Password.isEmpty() ? QString() : digest(info.Password, 16);
    m_sign = QStringLiteral("%1|%2|%3|%4|%5")
                 .arg(info.Host, QString::number(info.Port), info.UserName, password, info.DatabaseName);
    m_connectionName = prefix + m_sign;
}

bool ConnectionCore::checkTarget()
{
    // A file is never created here; that is the schema tools' job.
    if (!m_connection.fileDatabase || TessarkTool::isFileExist(m_info.DatabaseName))
        return true;
    fail(message(Step::Open), m_info.DatabaseName + QStringLiteral("数据文件未找到"));
    return false;
}

void ConnectionCore::configure(QSqlDatabase& db) const
{
    if (m_connection.fileDatabase) {
        db.setDatabaseName(m_info.DatabaseName);
        return;
    }
    db.setUserName(m_info.UserName);
    db.setPassword(m_info.Password);
    db.setDatabaseName(driverDatabaseName());
    if (!m_connection.addressInDatabaseName) {
        db.setHostName(m_info.Host);
        db.setPort(m_info.Port);
    }
}

QString ConnectionCore::driverDatabaseName() const
{
    if (!m_connection.addressInDatabaseName)
        return m_info.DatabaseName;
    return QStringLiteral("%1:%2/%3").arg(m_info.Host, QString::number(m_info.Port), m_info.DatabaseName);
}

LastError ConnectionCore::lastError() const
{
    QMutexLocker locker(&m_errorLock);
    return m_lastError;
}

void ConnectionCore::fail(const QString& message, const QString& reason) const
{
    {
        QMutexLocker locker(&m_errorLock);
        ++m_lastError.serial;
        m_lastError.message = message;
        m_lastError.driverText = reason;
    }
    TessarkTool::WriteLog(message + reason);
}

QString ConnectionCore::message(Step step) const
{
    const QString db = QLatin1String(m_connection.displayName);
    switch (step) {
    case Step::Connect:
        return QStringLiteral("连接%1数据库失败 错误信息：\n").arg(db);
    case Step::Open:
        return QStringLiteral("打开%1数据库失败 错误信息：\n").arg(db);
    case Step::Execute:
        return QStringLiteral("%1执行SQL语出出错 错误信息：\n").arg(db);
    case Step::Query:
        return QStringLiteral("%1查询出错 错误信息：\n").arg(db);
    case Step::QueryFirst:
        return QStringLiteral("%1查询首行出错 错误信息：\n").arg(db);
    case Step::QueryRow:
        return QStringLiteral("%1查询行数出错 错误信息：\n").arg(db);
    }
    return QString();
}

// One entry per failure: the statement's own error first, else the connection's.
void ConnectionCore::report(Step step, const QSqlError& statementError, const QSqlDatabase& db) const
{
    const QSqlError error = statementError.text().trimmed().isEmpty() ? db.lastError() : statementError;
    const QString text = error.text();
    if (!text.trimmed().isEmpty())
        fail(message(step), text);
    noteIfLost(error, db);
}

void ConnectionCore::noteIfLost(const QSqlError& error, const QSqlDatabase& db) const
{
    if (m_connection.connectionLost && m_connection.connectionLost(error))
        ThreadConnections::markLost(db.connectionName());
}

bool ConnectionCore::InitConnect()
{
    if (!checkTarget())
        return false;
    const QString name = ThreadConnections::nameForCurrentThread(m_connectionName);
    QSqlDatabase db;
    if (QSqlDatabase::contains(name)) {
        db = QSqlDatabase::database(name, false);
    } else {
        db = QSqlDatabase::addDatabase(QLatin1String(m_connection.driver), name);
        configure(db);
    }
    const QString error = db.lastError().text();
    if (!error.trimmed().isEmpty())
        fail(message(Step::Connect), error);
    return open(db);
}

bool ConnectionCore::open(QSqlDatabase& db)
{
    bool ok = db.isOpen();
    if (!ok) {
        ok = db.open();
        if (ok && m_connection.sessionStatement) {
            QSqlQuery query(db);
            if (!query.exec(QLatin1String(m_connection.sessionStatement)))
                fail(message(Step::Connect), query.lastError().text());
        }
    }
    if (!ok)
        fail(message(Step::Open), db.lastError().text());
    emit OpenEvent(ok, DbType(m_rules.kind));
    return ok;
}

// Every executing call registers its thread's connection first; empty input
// then stops it. A failed first connect has been logged once already.
bool ConnectionCore::prepare(bool emptyInput, QSqlDatabase& db)
{
    const QString name = ThreadConnections::nameForCurrentThread(m_connectionName);
    if (!QSqlDatabase::contains(name)) {
        const bool connected = InitConnect();
        if (emptyInput || !connected)
            return false;
        db = QSqlDatabase::database(name, false);
        return true;
    }
    if (emptyInput)
        return false;
    db = QSqlDatabase::database(name, false);
    if (ThreadConnections::takeLost(name)) {
        // Qt still reports the dead handle as open: close it so open() starts a new session.
        fail(message(Step::Connect), QStringLiteral("connection lost, reopening"));
        db.close();
        StatementCache::drop(name);
    }
    return open(db);
}

bool ConnectionCore::Execution(QString sql)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sql.isEmpty(), db))
        return false;
    return executeIn(db, sql);
}

bool ConnectionCore::executeIn(QSqlDatabase& db, const QString& sql)
{
    if (!begin(db, false))
        return false;
    bool ok;
    {
        QSqlQuery query(db);
        const StatementTrace trace;
        ok = query.exec(sql);
        trace.executed(m_sign, sql, query, ok);
        if (!ok)
            report(Step::Execute, query.lastError(), db);
    }
    if (ok && !db.commit()) {
        failedCommit(db);
        return false;
    }
    if (!ok)
        rollback(db);
    return ok;
}

bool ConnectionCore::begin(QSqlDatabase& db, bool idBatch)
{
    if (db.transaction())
        return true;
    noteIfLost(db.lastError(), db);
    QString why = db.lastError().text();
    if (why.trimmed().isEmpty())
        why = QStringLiteral("the transaction could not begin");
    if (idBatch && m_connection.idBatchBeginFailure)
        fail(QString::fromUtf8(m_connection.idBatchBeginFailure), why);
    else
        fail(message(Step::Execute), why);
    return false;
}

// A session that died has ended its transaction on the server already, and
// Qt warns about a rollback on a handle it no longer reports open.
void ConnectionCore::rollback(QSqlDatabase& db)
{
    if (db.isOpen())
        db.rollback();
}

void ConnectionCore::failedCommit(QSqlDatabase& db)
{
    report(Step::Execute, QSqlError(), db);
    if (!m_connection.failedCommitEndsTransaction)
        rollback(db);
}

bool ConnectionCore::ExecutionList(QStringList sqls, bool continueOnError)
{
    return runBatch(sqls, nullptr, nullptr, continueOnError);
}

bool ConnectionCore::runBatch(const QStringList& sqls, const QList<FieldPair>* idQueries,
                              QList<QVariant>* ids, bool continueOnError)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sqls.isEmpty(), db))
        return false;
    return batchIn(db, sqls, idQueries, ids, continueOnError);
}

bool ConnectionCore::batchIn(QSqlDatabase& db, const QStringList& sqls, const QList<FieldPair>* idQueries,
                             QList<QVariant>* ids, bool continueOnError)
{
    if (!begin(db, ids != nullptr))
        return false; // nothing ran, so the batch must not look successful

    bool result = true;
    int succeeded = 0;
    int executed = 0;
    {
        QSqlQuery query(db);
        for (const QString& sql : sqls) {
            if (!result && !continueOnError)
                break;
            const StatementTrace trace;
            const bool ok = query.exec(sql);
            trace.executed(m_sign, sql, query, ok);
            result = ok;
            if (ok)
                ++succeeded;
            if (ids) {
                QVariant id(0);
                if (ok && idQueries && executed < idQueries->size()) {
                    const FieldPair& pair = idQueries->at(executed);
                    id = firstRow(db, pair.second, Step::QueryFirst).value(pair.first).toInt();
                }
                ids->append(id);
            }
            ++executed;
            if (!ok)
                report(Step::Execute, query.lastError(), db);
        }
    }

    const bool keep = (continueOnError && succeeded > 0) || succeeded == sqls.size();
    if (keep && !db.commit()) {
        failedCommit(db);
        return false;
    }
    if (!keep)
        rollback(db);
    return result;
}

namespace {

int valueBytes(const QVariant& value)
{
    // UTF-8 takes at most three bytes per UTF-16 unit; the rest is framing.
    const int units = value.userType() == QMetaType::QString ? static_cast<const QString*>(value.constData())->size()
                                                              : 0;
    return 3 * units + 16;
}

// The INSERT of count rows from first on: the first row's statement with the
// row after VALUES written count times, each row's values in turn. An
// INSERT's values all lie in that row.
BoundStatement multiRow(const QVector<BoundStatement>& rows, int first, int count)
{
    const BoundStatement& head = rows.at(first);
    const int rowSize = head.rowEnd - head.rowAt;
    BoundStatement out;
    out.shape.reserve(head.shape.size() + (count - 1) * (rowSize + 1));
    out.shape.append(head.shape.constData(), head.rowAt);
    out.marks.reserve(count * head.marks.size());
    out.values.reserve(count * head.values.size());
    for (int r = 0; r < count; ++r) {
        if (r > 0)
            out.shape += QLatin1Char(',');
        const int shift = out.shape.size() - head.rowAt;
        out.shape.append(head.shape.constData() + head.rowAt, rowSize);
        for (int mark : head.marks)
            out.marks.append(mark + shift);
        out.values += rows.at(first + r).values;
    }
    out.shape.append(head.shape.constData() + head.rowEnd, head.shape.size() - head.rowEnd);
    return out;
}

// bound's shape with what put(i) writes in place of its i-th mark.
template <class Put>
QString withMarks(const BoundStatement& bound, Put put)
{
    QString text;
    text.reserve(bound.shape.size() + 8 * bound.marks.size());
    int from = 0;
    for (int i = 0; i < bound.marks.size(); ++i) {
        text.append(bound.shape.constData() + from, bound.marks.at(i) - from);
        put(text, i);
        from = bound.marks.at(i) + 1;
    }
    text.append(bound.shape.constData() + from, bound.shape.size() - from);
    return text;
}

// A bound value as the literal the statement's text holds.
QString literal(const Dialect& dialect, const QVariant& value)
{
    return value.isNull() ? QStringLiteral("NULL") : dialect.quoted(value.toString());
}

} // namespace

ListStatements* ConnectionCore::listStatements(QSqlDatabase& db) const
{
    return m_rules.writes.listStatements ? m_rules.writes.listStatements(db) : nullptr;
}

bool ConnectionCore::binds() const
{
    return m_rules.writes.binding != Binding::None;
}

bool ConnectionCore::joinsRows() const
{
    return m_rules.writes.multiRowInsert;
}

// The name bound's statement is prepared under in db's session (PREPARE
// name AS ... with $n the first time); empty when the session refuses it.
QString ConnectionCore::sessionStatement(QSqlDatabase& db, const BoundStatement& bound)
{
    QString name = StatementCache::sessionName(db, bound.shape);
    if (name.isEmpty()) {
        name = StatementCache::nameFor(db, bound.shape);
        const auto parameter = [](QString& out, int i) { out += QLatin1Char('$') + QString::number(i + 1); };
        const QString text = QLatin1String("PREPARE ") + name + QLatin1String(" AS ") + withMarks(bound, parameter);
        QSqlQuery query(db);
        if (!query.exec(text)) {
            StatementCache::forget(db, bound.shape);
            return QString();
        }
    }
    return name;
}

// Runs bound on db: through own where a list call has it, else prepared once
// per connection and thread. Logs nothing: a failure is the caller's to undo
// and run as text.
bool ConnectionCore::runBound(QSqlDatabase& db, const BoundStatement& bound, Row* first, ListStatements* own)
{
    if (own)
        return own->run(bound);
    if (m_rules.writes.leadingBomLost) {
        for (const QVariant& value : bound.values) {
            if (value.userType() == QMetaType::QString
                && static_cast<const QString*>(value.constData())->startsWith(QChar(0xFEFF)))
                return false;
        }
    }
    if (m_rules.writes.binding == Binding::None) {
        // The text itself.
        const Dialect dialect(m_rules.dialect);
        QSqlQuery query(db);
        return query.exec(withMarks(bound, [&](QString& out, int i) { out += literal(dialect, bound.values.at(i)); }));
    }
    if (m_rules.writes.binding == Binding::Driver) {
        QSqlQuery* query = StatementCache::query(db, bound.shape);
        if (!query)
            return false;
        for (int i = 0; i < bound.values.size(); ++i)
            query->bindValue(i, bound.values.at(i));
        const bool ok = query->exec();
        if (ok && first && query->isSelect() && query->next())
            *first = Columns(query->record()).read(*query);
        query->finish(); // a statement left running would hold SQLite's COMMIT back
        if (!ok)
            StatementCache::forget(db, bound.shape);
        return ok;
    }

    const QString name = sessionStatement(db, bound);
    if (name.isEmpty())
        return false;
    // A row is read by the client only where Qt's driver gave it as integers
    // and text before, which the client gives alike.
    if (m_rules.writes.executePrepared && (!first || StatementCache::plainRows(db, name))) {
        switch (m_rules.writes.executePrepared(db, name, bound.values, first)) {
        case Sent::Done:
            return true;
        case Sent::Failed:
            StatementCache::forget(db, bound.shape);
            return false;
        case Sent::NotSent:
            break;
        }
    }
    // EXECUTE with the values as the very literals the text holds.
    const Dialect dialect(m_rules.dialect);
    QString call = QLatin1String("EXECUTE ") + name;
    if (!bound.values.isEmpty()) {
        call += QLatin1String(" (");
        for (const QVariant& value : bound.values)
            call += literal(dialect, value) + QLatin1Char(',');
        call[call.size() - 1] = QLatin1Char(')');
    }
    QSqlQuery query(db);
    query.setForwardOnly(true);
    const bool ok = query.exec(call);
    if (ok && first && query.isSelect() && query.next()) {
        *first = Columns(query.record()).read(query);
        const bool plain = std::all_of(first->cbegin(), first->cend(), [](const QVariant& v) {
            const int type = v.userType();
            return type == QMetaType::Int || type == QMetaType::LongLong || type == QMetaType::ULongLong
                   || type == QMetaType::QString;
        });
        if (plain)
            StatementCache::setPlainRows(db, name);
    }
    if (!ok)
        StatementCache::forget(db, bound.shape);
    return ok;
}

// A statement sent alone in such a session is a transaction of its own: a
// round trip each for BEGIN and COMMIT is saved.
bool ConnectionCore::commitsAlone(QSqlDatabase& db) const
{
    return m_rules.writes.commitsAlone && m_rules.writes.commitsAlone(db);
}

bool ConnectionCore::executeBound(const BoundStatement& bound, const std::function<QString()>& text)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(false, db))
        return false;
    const bool alone = commitsAlone(db);
    if (!alone && !begin(db, false))
        return false;
    if (!runBound(db, bound, nullptr)) {
        // A statement alone has undone itself.
        if (!alone)
            rollback(db);
        return executeIn(db, text());
    }
    if (alone || db.commit())
        return true;
    failedCommit(db);
    return false;
}

bool ConnectionCore::executeAlone(const QString& sql, QVariant* generatedId)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sql.isEmpty(), db))
        return false;
    if (commitsAlone(db)) {
        QSqlQuery query(db);
        const StatementTrace trace;
        if (query.exec(sql)) {
            trace.executed(m_sign, sql, query, true);
            if (generatedId)
                *generatedId = query.lastInsertId();
            return true;
        }
        // Undone by itself; run as text, the failure is told as without the shortcut.
    }
    return executeIn(db, sql);
}

Row ConnectionCore::queryFirstBound(const BoundStatement& bound, const std::function<QString()>& text)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(false, db))
        return Row();
    Row row;
    if (runBound(db, bound, &row))
        return row;
    return firstRow(db, text(), Step::QueryFirst);
}

bool ConnectionCore::executeBoundList(const QVector<BoundStatement>& list, const std::function<QStringList()>& texts,
                                      bool continueOnError)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(list.isEmpty(), db))
        return false;
    if (!begin(db, false))
        return false;
    const std::unique_ptr<ListStatements> own(listStatements(db));
    for (const BoundStatement& bound : list) {
        if (!runBound(db, bound, nullptr, own.get())) {
            rollback(db);
            return batchIn(db, texts(), nullptr, nullptr, continueOnError);
        }
    }
    if (db.commit())
        return true;
    failedCommit(db);
    return false;
}

// The byte bound of one multi-row INSERT: a quarter of the server's packet
// limit where it tells it, read once per session.
int ConnectionCore::chunkBytes(QSqlDatabase& db)
{
    const WriteRules& writes = m_rules.writes;
    if (!writes.packetLimitSql)
        return writes.maxBytes;
    int limit = StatementCache::packetLimit(db);
    if (limit == 0) {
        QSqlQuery query(db);
        if (query.exec(QLatin1String(writes.packetLimitSql)) && query.next())
            limit = query.value(0).toInt();
        if (limit <= 0)
            limit = 1 << 20; // the smallest default these servers ever shipped
        StatementCache::setPacketLimit(db, limit);
    }
    return qMin(writes.maxBytes, limit / 4);
}

bool ConnectionCore::insertRows(const QVector<BoundStatement>& rows, const std::function<QStringList()>& texts,
                                QList<QVariant>* ids, bool continueOnError)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(rows.isEmpty(), db))
        return false;
    const WriteRules& writes = m_rules.writes;
    const int maxBytes = writes.multiRowInsert ? chunkBytes(db) : 0;
    if (!begin(db, ids != nullptr))
        return false;
    const std::unique_ptr<ListStatements> own(listStatements(db));
    for (int first = 0; first < rows.size();) {
        // Consecutive rows of one shape within the bounds; a power of two of
        // them, so that a list's chunks share a few prepared statements.
        int fit = 1;
        if (writes.multiRowInsert) {
            const BoundStatement& head = rows.at(first);
            int parameters = head.values.size();
            qint64 bytes = 0;
            for (const QVariant& value : head.values)
                bytes += valueBytes(value);
            for (int next = first + 1; next < rows.size() && fit < writes.maxRows; ++next, ++fit) {
                const BoundStatement& row = rows.at(next);
                if (row.shape != head.shape || parameters + row.values.size() > writes.maxParameters)
                    break;
                for (const QVariant& value : row.values)
                    bytes += valueBytes(value);
                if (bytes > maxBytes)
                    break;
                parameters += row.values.size();
            }
            while (fit & (fit - 1))
                fit &= fit - 1;
        }
        if (!runBound(db, fit == 1 ? rows.at(first) : multiRow(rows, first, fit), nullptr, own.get())) {
            rollback(db);
            const QList<FieldPair> noKeys;
            return batchIn(db, texts(), ids ? &noKeys : nullptr, ids, continueOnError);
        }
        first += fit;
    }
    if (ids) {
        for (int i = 0; i < rows.size(); ++i)
            ids->append(QVariant(0));
    }
    if (db.commit())
        return true;
    failedCommit(db);
    return false;
}

RowList ConnectionCore::Query(QString sql)
{
    return Query(sql, nullptr);
}

RowList ConnectionCore::Query(const QString& sql, QStringList* columnNames)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sql.isEmpty(), db))
        return RowList();
    RowList rows;
    QSqlQuery query(db);
    query.setForwardOnly(true);
    const StatementTrace trace;
    if (!query.exec(sql)) {
        trace.returned(m_sign, sql, 0, false);
        report(Step::Query, query.lastError(), db);
        return rows;
    }
    if (query.isSelect()) {
        const Columns columns(query.record());
        if (columnNames)
            *columnNames = QStringList(columns.name.cbegin(), columns.name.cend());
        while (query.next())
            rows.append(columns.read(query));
    }
    trace.returned(m_sign, sql, rows.size(), !query.lastError().isValid());
    if (query.lastError().isValid())
        report(Step::Query, query.lastError(), db);
    return rows;
}

Row ConnectionCore::firstRow(QSqlDatabase& db, const QString& sql, Step step)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    const StatementTrace trace;
    if (!query.exec(sql)) {
        trace.returned(m_sign, sql, 0, false);
        report(step, query.lastError(), db);
        return Row();
    }
    const bool found = query.isSelect() && query.next();
    trace.returned(m_sign, sql, found ? 1 : 0, true);
    if (!found)
        return Row();
    return Columns(query.record()).read(query);
}

Row ConnectionCore::QueryFirst(QString sql)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sql.isEmpty(), db))
        return Row();
    return firstRow(db, sql, Step::QueryFirst);
}

int ConnectionCore::QueryRow(QString sql)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sql.isEmpty(), db))
        return 0;
    QSqlQuery query(db);
    query.setForwardOnly(true);
    const StatementTrace trace;
    if (!query.exec(sql)) {
        trace.returned(m_sign, sql, 0, false);
        report(Step::QueryRow, query.lastError(), db);
        return 0;
    }
    const bool found = query.next();
    trace.returned(m_sign, sql, found ? 1 : 0, true);
    return found ? query.value(0).toInt() : 0;
}

void ConnectionCore::Close()
{
    ThreadConnections::removeAll(m_connectionName);
}

} // namespace Tessark
