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

#include "core/rules.h"
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
    }
    return open(db);
}

bool ConnectionCore::Execution(QString sql)
{
    QMutexLocker locker(workMutex());
    QSqlDatabase db;
    if (!prepare(sql.isEmpty(), db))
        return false;
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
