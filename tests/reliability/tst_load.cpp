// Ten threads at once on one SQLite file and on each server, through shared
// and own objects, tagged and untagged, and the facade: no row is lost or
// doubled and nothing is logged. scripts/test also runs it under ThreadSanitizer.
#include <QFileInfo>
#include <QHash>
#include <QSqlDatabase>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <vector>

#include "core/threadconnections.h"
#include "reliability.h"

using namespace TessarkTest;

namespace {

constexpr int threadCount = 10;

// Rounds per thread: TESSARK_TEST_LOAD_ROUNDS, else 40.
int rounds()
{
    const int given = qEnvironmentVariableIntValue("TESSARK_TEST_LOAD_ROUNDS");
    return given > 0 ? given : 40;
}

// What one thread expects to find afterwards (code -> label), and what failed.
struct Ledger
{
    QHash<QString, QString> expected;
    QStringList failures;
    std::atomic<bool> finished{false}; // a hand-over ThreadSanitizer sees; Qt's join is not instrumented

    void check(bool ok, const QString& what)
    {
        if (!ok && failures.size() < 20)
            failures.append(what);
    }
};

// One thread's own rows, inserted, changed and partly deleted in every form;
// now and then the name caches are dropped under the others' feet.
template <class Q>
void work(Q& q, const QString& table, int thread, Ledger& ledger)
{
    const int roundCount = rounds();
    for (int i = 0; i < roundCount; ++i) {
        const QString code = QStringLiteral("t%1-%2").arg(thread).arg(i);
        Item item(table);
        item.code = code;
        ledger.check(insertRecord(q, &item, true) && item.id > 0, code + " insert");
        item.label = "changed " + code;
        ledger.check(q.Update(&item), code + " update");
        ledger.expected.insert(code, item.label);

        switch (i % 4) {
        case 0: {
            Item a(table), b(table);
            a.code = a.label = code + "a";
            b.code = b.label = code + "b";
            ledger.expected.insert(a.code, a.label);
            ledger.expected.insert(b.code, b.label);
            ledger.check(q.InsertList(QList<ObjectModel*>{&a, &b}, true, false), code + " insert list");
            break;
        }
        case 1: {
            // Negative, so no generated key meets it.
            Item own(table);
            own.id = -(thread * 100000 + i + 1);
            own.code = own.label = code + "k";
            ledger.check(insertRecord(q, &own, false), code + " insert with own key");
            ledger.expected.insert(own.code, own.label);
            break;
        }
        case 2:
            ledger.check(q.Update(table, "code", {{"code", code}, {"label", "fields " + code}}), code + " update fields");
            ledger.expected.insert(code, "fields " + code);
            break;
        case 3:
            ledger.check(deleteBy(q, "id", item.id, table), code + " delete");
            ledger.expected.remove(code);
            break;
        }
        if (i % 10 == 5) {
            q.CleanColumn();
            q.CleanTable();
            ledger.check(q.GetTableNames().contains(table), code + " table names");
            ledger.check(q.GetColumnNames(table).size() == 3, code + " column names");
        }
    }
}

} // namespace

class TestLoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }

    void manyThreads_data() { addBackendRows(); }
    void manyThreads()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName(QStringLiteral("load"));
        QVERIFY(b.exec(itemTable(b, table)));
        DropTables drop{b, {table}};

        std::vector<Ledger> ledgers(threadCount);
        ExtendHandle sharedHandle, ownHandle;
        sharedHandle.InitInfo(b.info(uniqueName(QStringLiteral("handle"))));
        ownHandle.InitInfo(b.info());
        // The registered connection name of a tag (the test servers' password is empty).
        auto nameOf = [&](const QString& tag) {
            return b.kind == Kind::SQLite ? tag + "|" + QFileInfo(b.file).fileName()
                                          : QStringList{tag, b.server.host, QString::number(b.server.port), b.server.user,
                                                        b.server.password, b.server.dbname}.join(QLatin1Char('|'));
        };
        const QString sharedTag = uniqueName(QStringLiteral("shared")), ownTag = uniqueName(QStringLiteral("own"));
        // 0-2 share an untagged object, 3-4 a tagged one, 5-6 a facade; 7-9 have one of each their own.
        auto run = [&](auto& untagged, auto& tagged, auto& ownUntagged, auto& ownTagged) {
            b.init(untagged, QString());
            b.init(tagged, sharedTag);
            b.init(ownUntagged, QString());
            b.init(ownTagged, ownTag);
            auto create = [&](int t, auto& q) {
                return QThread::create([&, t] {
                    work(q, table, t, ledgers[size_t(t)]);
                    ledgers[size_t(t)].finished.store(true, std::memory_order_release);
                });
            };
            QList<QThread*> threads;
            for (int t = 0; t < threadCount; ++t) {
                threads.append(t <= 2 ? create(t, untagged) : t <= 4 ? create(t, tagged) : t <= 6 ? create(t, sharedHandle)
                               : t == 7 ? create(t, ownUntagged) : t == 8 ? create(t, ownTagged) : create(t, ownHandle));
                threads.last()->start();
            }
            for (QThread* thread : threads) {
                thread->wait();
                delete thread;
            }
            // Threads that finished took their own connections with them, and
            // the registered one that a worker opened first.
            QCOMPARE(Tessark::ThreadConnections::namesOf(nameOf(sharedTag)), QStringList());
            QVERIFY(!QSqlDatabase::contains(nameOf(ownTag)));
        };
        switch (b.kind) {
        case Kind::SQLite: { SQLiteQuery u, t, ou, ot; run(u, t, ou, ot); break; }
        case Kind::PostgreSQL: { PostgreSQLQuery u, t, ou, ot; run(u, t, ou, ot); break; }
        case Kind::MySQL: { MySqlQuery u, t, ou, ot; run(u, t, ou, ot); break; }
        }
        if (QTest::currentTestFailed())
            return;

        QHash<QString, QString> expected;
        QStringList failures;
        for (int t = 0; t < threadCount; ++t) {
            const Ledger& ledger = ledgers[size_t(t)];
            QVERIFY(ledger.finished.load(std::memory_order_acquire));
            expected.insert(ledger.expected);
            failures += ledger.failures;
        }
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join("; ") + " | " + log.messages().join(" | ")));

        // Every row each thread expects, with its last label, once, and nothing else.
        const RowList stored = b.help(uniqueName(QStringLiteral("observer")))
                                   ->Query(QStringLiteral("select code, label from %1").arg(table));
        QHash<QString, QString> found;
        for (const Row& row : stored)
            found.insert(row.value("code").toString(), row.value("label").toString());
        QStringList lost;
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            if (!found.contains(it.key()))
                lost.append(it.key());
        QVERIFY2(lost.isEmpty(), qPrintable(QStringLiteral("%1 rows lost: ").arg(lost.size()) + lost.join(",")));
        QCOMPARE(stored.size(), found.size()); // none twice
        QVERIFY(found == expected);
        QCOMPARE(log.messages(), QStringList());
    }
};

TESSARK_TEST_MAIN(TestLoad)
#include "tst_load.moc"
