// Raw Qt SQL: the very texts the library sends (its overhead), and prepared
// statements with bound values (what a careful hand-written program does).

#include <QLocale>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include "bench.h"

namespace Bench {

RowList readRows(QSqlQuery& query)
{
    const QSqlRecord record = query.record();
    QVector<int> index;
    QStringList names;
    for (int i = 0; i < record.count(); ++i) {
        const QString name = record.fieldName(i);
        if (names.contains(name))
            continue;
        index.append(i);
        names.append(name);
    }
    RowList rows;
    while (query.next()) {
        Row row;
        row.reserve(names.size());
        for (int i = 0; i < names.size(); ++i)
            row.insert(names[i], query.value(index[i]));
        rows.append(row);
    }
    return rows;
}

namespace {

// A Qt connection of the reference's own.
class QtConnection : public Contender
{
public:
    QtConnection(Db db, const QString& name) : m_db(db), m_name(name) {}

    bool open(const Workload& w) override
    {
        QSqlDatabase db = w.target.addQtConnection(m_name);
        if (!db.open())
            return fail(db.lastError().text());
        return true;
    }

    void close() override
    {
        {
            QSqlDatabase db = QSqlDatabase::database(m_name, false);
            db.close();
        }
        QSqlDatabase::removeDatabase(m_name);
    }

protected:
    QSqlDatabase database() const { return QSqlDatabase::database(m_name, false); }

    bool failed(const QSqlQuery& query) { return fail(query.lastError().text()); }
    bool failed(const QSqlDatabase& db) { return fail(db.lastError().text()); }

    Db m_db;
    QString m_name;
};

class QtText : public QtConnection
{
public:
    explicit QtText(Db db) : QtConnection(db, QStringLiteral("bench-qt-text")) {}

    QString key() const override { return QStringLiteral("qt_text"); }
    bool supports(Scenario) const override { return true; }

    bool run(Scenario scenario, Workload& w) override
    {
        if (scenario == Scenario::Build)
            return build(w);
        QSqlDatabase db = database();
        QSqlQuery q(db);
        switch (scenario) {
        case Scenario::Insert:
            for (int i = 0; i < w.count; ++i) {
                QVariant id;
                if (w.idTexts.isEmpty()) {
                    // The key comes back in the INSERT's own row.
                    if (!q.exec(w.texts[i]) || !q.next())
                        return failed(q);
                    id = q.value(0);
                } else {
                    if (!db.transaction())
                        return failed(db);
                    if (!q.exec(w.texts[i]))
                        return failed(q);
                    if (!db.commit())
                        return failed(db);
                    if (!q.exec(w.idTexts[i]) || !q.next())
                        return failed(q);
                    id = q.value(0);
                }
                w.people[size_t(i)]->setid(id.toInt());
            }
            return true;
        case Scenario::Update:
            for (const QString& sql : qAsConst(w.texts)) {
                if (!db.transaction())
                    return failed(db);
                if (!q.exec(sql))
                    return failed(q);
                if (!db.commit())
                    return failed(db);
            }
            return true;
        case Scenario::InsertList:
        case Scenario::Import:
        case Scenario::UpdateList:
            if (!db.transaction())
                return failed(db);
            for (const QString& sql : qAsConst(w.texts)) {
                if (!q.exec(sql))
                    return failed(q);
            }
            return db.commit() || failed(db);
        case Scenario::Query:
            q.setForwardOnly(true);
            if (!q.exec(w.queryText))
                return failed(q);
            w.rowsRead = readRows(q).size();
            return true;
        case Scenario::Page: {
            q.setForwardOnly(true);
            QSqlQuery count(db);
            count.setForwardOnly(true);
            w.rowsRead = 0;
            for (int i = 0; i < w.pageLoops; ++i) {
                if (!q.exec(w.pageText))
                    return failed(q);
                w.rowsRead += readRows(q).size();
                if (!count.exec(w.countText) || !count.next())
                    return failed(count);
                w.counted = count.value(0).toInt();
            }
            return true;
        }
        case Scenario::Build:
            break;
        }
        return false;
    }

private:
    // The INSERT texts written by hand with QString, identical to the library's.
    bool build(Workload& w)
    {
        const bool quoteTable = m_db == Db::SQLite;
        const bool quoteColumns = m_db != Db::MySQL;
        const auto col = [&](const char* name) {
            return quoteColumns ? QLatin1Char('"') + QLatin1String(name) + QLatin1Char('"') : QLatin1String(name);
        };
        const QString table = quoteTable ? QLatin1Char('"') + w.writeTable + QLatin1Char('"') : w.writeTable;
        const QString head = QLatin1String("INSERT INTO ") + table + QLatin1String(" (") + col("username")
                             + QLatin1Char(',') + col("score") + QLatin1Char(',') + col("born")
                             + QLatin1String(") VALUES ('");
        const QString tail = m_db == Db::PostgreSQL ? QStringLiteral("') RETURNING id") : QStringLiteral("')");
        const QString dateFormat = QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz");
        for (int i = 0; i < w.count; ++i) {
            const BenchPerson* p = w.people[size_t(i)].get();
            QString name = p->username;
            if (m_db == Db::MySQL && name.contains(QLatin1Char('\\')))
                name.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
            if (name.contains(QLatin1Char('\'')))
                name.replace(QLatin1Char('\''), QLatin1String("''"));
            QString sql;
            sql.reserve(head.size() + name.size() + 64);
            sql += head;
            sql += name;
            sql += QLatin1String("','");
            sql += QString::number(p->score, 'g', QLocale::FloatingPointShortest);
            sql += QLatin1String("','");
            sql += m_db == Db::SQLite ? p->born.toString(dateFormat) : p->born.toString(Qt::ISODateWithMs);
            sql += tail;
            w.built.append(sql);
        }
        return true;
    }
};

class QtPrepared : public QtConnection
{
public:
    explicit QtPrepared(Db db) : QtConnection(db, QStringLiteral("bench-qt-prepared")) {}

    QString key() const override { return QStringLiteral("qt_prepared"); }
    bool supports(Scenario scenario) const override { return scenario != Scenario::Build; }

    bool run(Scenario scenario, Workload& w) override
    {
        QSqlDatabase db = database();
        QSqlQuery q(db);
        const QString& t = w.writeTable;
        switch (scenario) {
        case Scenario::Insert: {
            const bool returning = m_db == Db::PostgreSQL;
            QString sql = QStringLiteral("INSERT INTO %1 (username, score, born) VALUES (?, ?, ?)").arg(t);
            if (returning)
                sql += QLatin1String(" RETURNING id");
            if (!q.prepare(sql))
                return failed(q);
            for (int i = 0; i < w.count; ++i) {
                BenchPerson* p = w.people[size_t(i)].get();
                q.bindValue(0, p->username);
                q.bindValue(1, p->score);
                q.bindValue(2, p->born);
                if (!q.exec())
                    return failed(q);
                QVariant id;
                if (returning) {
                    if (!q.next())
                        return failed(q);
                    id = q.value(0);
                } else {
                    id = q.lastInsertId();
                }
                p->setid(id.toInt());
            }
            return true;
        }
        case Scenario::InsertList:
        case Scenario::Import:
            if (!db.transaction())
                return failed(db);
            if (!q.prepare(QStringLiteral("INSERT INTO %1 (id, username, score, born) VALUES (?, ?, ?, ?)").arg(t)))
                return failed(q);
            for (int i = 0; i < w.count; ++i) {
                const BenchPerson* p = w.people[size_t(i)].get();
                q.bindValue(0, p->id);
                q.bindValue(1, p->username);
                q.bindValue(2, p->score);
                q.bindValue(3, p->born);
                if (!q.exec())
                    return failed(q);
            }
            return db.commit() || failed(db);
        case Scenario::Update:
        case Scenario::UpdateList: {
            const bool batch = scenario == Scenario::UpdateList;
            if (batch && !db.transaction())
                return failed(db);
            if (!q.prepare(QStringLiteral("UPDATE %1 SET username = ?, score = ?, born = ? WHERE id = ?").arg(t)))
                return failed(q);
            for (int i = 0; i < w.count; ++i) {
                const BenchPerson* p = w.people[size_t(i)].get();
                q.bindValue(0, p->username);
                q.bindValue(1, p->score);
                q.bindValue(2, p->born);
                q.bindValue(3, p->id);
                if (!q.exec())
                    return failed(q);
            }
            return !batch || db.commit() || failed(db);
        }
        case Scenario::Query:
            q.setForwardOnly(true);
            if (!q.prepare(QStringLiteral("SELECT * FROM %1").arg(w.readTable)) || !q.exec())
                return failed(q);
            w.rowsRead = readRows(q).size();
            return true;
        case Scenario::Page: {
            q.setForwardOnly(true);
            QSqlQuery count(db);
            count.setForwardOnly(true);
            if (!q.prepare(QStringLiteral("SELECT * FROM %1 LIMIT ? OFFSET ?").arg(w.readTable)))
                return failed(q);
            if (!count.prepare(QStringLiteral("SELECT COUNT(*) FROM %1").arg(w.readTable)))
                return failed(count);
            w.rowsRead = 0;
            for (int i = 0; i < w.pageLoops; ++i) {
                q.bindValue(0, w.pageSize);
                q.bindValue(1, w.pageOffset);
                if (!q.exec())
                    return failed(q);
                w.rowsRead += readRows(q).size();
                if (!count.exec() || !count.next())
                    return failed(count);
                w.counted = count.value(0).toInt();
            }
            return true;
        }
        case Scenario::Build:
            break;
        }
        return false;
    }
};

} // namespace

std::unique_ptr<Contender> makeQtText(Db db)
{
    return std::make_unique<QtText>(db);
}

std::unique_ptr<Contender> makeQtPrepared(Db db)
{
    return std::make_unique<QtPrepared>(db);
}

} // namespace Bench
