// OracleQuery over a scripted stand-in for the QOCI driver (no Oracle server
// or QOCI plugin exists here): it records every statement and answers rows
// from a script.
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlDriverCreator>
#include <QSqlError>
#include <QSqlField>
#include <QSqlRecord>
#include <QSqlResult>
#include <QtTest>

#include <algorithm>
#include <functional>

#include "../common/testrecords.h"
#include "../support/tessarktest.h"
#include "oracle/oraclequery.h"

using namespace TessarkTest;

namespace {

struct Answer
{
    bool ok = true;
    QStringList columns;
    QList<QVariantList> rows;
};

// What the stand-in heard and how it answers.
struct Script
{
    QStringList heard;
    QString databaseName;
    QString hostName;
    std::function<Answer(const QString&)> answer;
};

Script script;

class ScriptedResult : public QSqlResult
{
public:
    explicit ScriptedResult(const QSqlDriver* driver) : QSqlResult(driver) {}

protected:
    QVariant data(int i) override { return m_answer.rows.at(at()).value(i); }
    bool isNull(int i) override { return data(i).isNull(); }
    bool reset(const QString& sql) override
    {
        script.heard.append(sql);
        m_answer = script.answer(sql);
        setAt(QSql::BeforeFirstRow);
        if (!m_answer.ok) {
            setLastError(QSqlError("scripted failure", "ORA-00942", QSqlError::StatementError));
            setActive(false);
            return false;
        }
        setSelect(!m_answer.columns.isEmpty());
        setActive(true);
        return true;
    }
    bool fetch(int i) override
    {
        const bool there = i >= 0 && i < m_answer.rows.size();
        if (there)
            setAt(i);
        return there;
    }
    bool fetchFirst() override { return fetch(0); }
    bool fetchLast() override { return fetch(m_answer.rows.size() - 1); }
    int size() override { return m_answer.rows.size(); }
    int numRowsAffected() override { return 1; }
    QSqlRecord record() const override
    {
        QSqlRecord record;
        for (const QString& c : m_answer.columns)
            record.append(QSqlField(c));
        return record;
    }

private:
    Answer m_answer;
};

class ScriptedDriver : public QSqlDriver
{
public:
    bool hasFeature(DriverFeature f) const override { return f == Transactions; }
    bool open(const QString& db, const QString&, const QString&, const QString& host, int, const QString&) override
    {
        script.databaseName = db;
        script.hostName = host;
        setOpen(true);
        setOpenError(false);
        return true;
    }
    void close() override { setOpen(false); }
    QSqlResult* createResult() const override { return new ScriptedResult(this); }
    bool beginTransaction() override { script.heard.append("BEGIN"); return true; }
    bool commitTransaction() override { script.heard.append("COMMIT"); return true; }
    bool rollbackTransaction() override { script.heard.append("ROLLBACK"); return true; }
};

const QString tablesSql = "SELECT A.TABLE_NAME, A.COMMENTS FROM USER_TAB_COMMENTS A ORDER BY A.TABLE_NAME ";

// A schema with one table PERSON and, for inserts, returnedKey as the returned key row.
QVariant returnedKey;
Answer personSchema(const QString& sql)
{
    if (sql == tablesSql)
        return Answer{true, {"TABLE_NAME", "COMMENTS"}, {{"PERSON", ""}}};
    if (sql.startsWith("SELECT A.TABLE_NAME, A.COLUMN_NAME"))
        return Answer{true, {"TABLE_NAME", "COLUMN_NAME"}, {{"PERSON", "id"}, {"PERSON", "username"}, {"PERSON", "born"}}};
    if (sql.startsWith("INSERT") && returnedKey.isValid())
        return Answer{true, {"ID"}, {{returnedKey}}}; // Oracle folds names to upper case
    if (sql.startsWith("select COUNT"))
        return Answer{true, {"ROWCOUNT"}, {{3}}};
    return Answer{!sql.contains("FAIL"), {}, {}};
}

} // namespace

class TestOracleScripted : public QObject
{
    Q_OBJECT

    static std::unique_ptr<OracleQuery> fresh()
    {
        auto q = std::make_unique<OracleQuery>();
        q->InitInfo("dbhost", 1521, "scott", "tiger", "ORCL", uniqueName("ora"));
        return q;
    }

private slots:
    void initTestCase()
    {
        installMessageGuard();
        QSqlDatabase::registerSqlDriver("QOCI", new QSqlDriverCreator<ScriptedDriver>);
    }
    void init()
    {
        script = Script{{}, {}, {}, personSchema};
        returnedKey = QVariant();
    }

    // The key comes from the row the insert returns, whatever the case of its
    // name; without that row the insert fails and the record keeps its id.
    void insert()
    {
        auto q = fresh();
        Person p("PERSON");
        p.id = 9;
        QVERIFY(!q->Insert(&p, true, {}));
        QCOMPARE(p.id, 9);
        // The address goes into the database name, host left empty.
        QCOMPARE(script.databaseName, QStringLiteral("dbhost:1521/ORCL"));
        QCOMPARE(script.hostName, QString());
        QCOMPARE(script.heard.first(), tablesSql);
        QVERIFY(!q->Insert("PERSON", {{"username", "x"}}, "id", true));
        QCOMPARE(script.heard.last(), QStringLiteral("INSERT INTO \"PERSON\" (\"username\") VALUES ('x') "));

        returnedKey = 42;
        p.UserName = "ann";
        QVERIFY(q->Insert(&p, true, {}));
        QCOMPARE(p.id, 42);
        const QString insert = q->GetInsertSql("PERSON", {"id", "username", "born"}, &p, "id", true, {});
        QCOMPARE(script.heard.last(), insert);
        QVERIFY(insert.contains("to_date('2000-01-01 00:00:00', 'yyyy/mm/dd hh24:mi:ss')"));
        QVERIFY(!script.heard.contains("BEGIN")); // a one-row query, no transaction around it

        p.born = QDateTime();
        QVERIFY(q->Insert(&p, true, {}));
        QCOMPARE(script.heard.last(), QStringLiteral("INSERT INTO \"PERSON\" (\"username\",\"born\") VALUES ('ann',NULL)"));
    }

    void listsAndReads()
    {
        LogFolder log;
        returnedKey = 5;
        auto q = fresh();
        Person a("PERSON"), b("PERSON");
        a.id = 1;
        b.id = 2;
        QVERIFY(q->InsertList(QList<ObjectModel*>{&a, &b}, true, false));
        QCOMPARE(a.id, 1); // batches read no keys back
        QCOMPARE(b.id, 2);
        const int begin = script.heard.indexOf("BEGIN");
        QVERIFY(begin >= 0);
        QCOMPARE(script.heard.mid(begin + 1, 3),
                 (QStringList{q->GetInsertSql("PERSON", {"id", "username", "born"}, &a, "id", true, {}),
                              q->GetInsertSql("PERSON", {"id", "username", "born"}, &b, "id", true, {}), "COMMIT"}));

        QVERIFY(q->Query(20, 10, &a).isEmpty());
        QCOMPARE(script.heard.last(),
                 QStringLiteral("Select * From (select a.*,rownum r from  (PERSON) a) where r>20 and r<=30"));
        QCOMPARE(q->QueryRow(&a), 3);
        QVERIFY(q->UpdateByKey(&a, "username"));
        QCOMPARE(script.heard.at(script.heard.size() - 2),
                 q->GetUpdateSqlByKey("PERSON", "username", {"id", "username", "born"}, &a));

        // Oracle passes continueOnError on (PostgreSQL does not).
        QVERIFY(q->DeleteList(QStringList{"delete FAIL", "delete 2"}, true));
        QCOMPARE(script.heard.mid(script.heard.size() - 4), (QStringList{"BEGIN", "delete FAIL", "delete 2", "COMMIT"}));
        QCOMPARE(log.messages().size(), 1);
        QVERIFY(log.messages().first().startsWith(QStringLiteral("Oracle执行SQL语出出错 错误信息：\n")));
        QVERIFY(log.messages().first().contains("ORA-00942"));
    }

    // Catalogue reads happen once per connection and table, counted at the driver.
    void namesAreReadOnce()
    {
        script.answer = [](const QString& sql) {
            if (sql == tablesSql)
                return Answer{true, {"TABLE_NAME", "COMMENTS"}, {{"A", ""}, {"B", ""}}};
            if (sql.startsWith("SELECT A.TABLE_NAME, A.COLUMN_NAME"))
                return Answer{true, {"COLUMN_NAME"}, {{sql.contains("'A'") ? "a1" : "b1"}}};
            return Answer();
        };
        auto q = fresh();
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(q->GetColumnNames("A"), QStringList{"a1"});
            QCOMPARE(q->GetColumnNames("B"), QStringList{"b1"});
            QCOMPARE(q->GetTableNames(), (QStringList{"A", "B"}));
        }
        const auto columnReads = [] {
            return int(std::count_if(script.heard.cbegin(), script.heard.cend(),
                                     [](const QString& s) { return s.startsWith("SELECT A.TABLE_NAME, A.COLUMN_NAME"); }));
        };
        QCOMPARE(script.heard.count(tablesSql), 1);
        QCOMPARE(columnReads(), 2);
        q->CleanColumn();
        q->GetColumnNames("A");
        QCOMPARE(columnReads(), 3);
        q->CleanTable();
        q->GetTableNames();
        QCOMPARE(script.heard.count(tablesSql), 2);
    }
};

TESSARK_TEST_MAIN(TestOracleScripted)
#include "tst_oracle_scripted.moc"
