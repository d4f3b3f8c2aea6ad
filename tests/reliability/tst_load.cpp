// Many threads at once on one SQLite file and on each server, through shared
// and separate objects, tagged and untagged, persistence objects and the
// facade: no row is lost or doubled, nothing is logged, and Qt never warns.
// scripts/test also runs this suite under ThreadSanitizer (TESSARK_TSAN).
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <vector>

#include "core/threadconnections.h"
#include "reliability.h"

using namespace TessarkTest;

namespace {

constexpr int threadCount = 10;
constexpr qint64 timeLimitMs = 300000;

// Rounds per thread: TESSARK_TEST_LOAD_ROUNDS, else 40.
int rounds()
{
    bool ok = false;
    const int given = qEnvironmentVariableIntValue("TESSARK_TEST_LOAD_ROUNDS", &ok);
    return ok && given > 0 ? given : 40;
}

// What one thread expects to find afterwards, and what failed; touched by that thread only.
struct Ledger
{
    QHash<QString, QString> expected; // code -> label
    QStringList failures;
    bool outOfTime = false;
    // Set last, read after the join: a hand-over ThreadSanitizer sees (Qt's join is not instrumented).
    std::atomic<bool> finished{false};

    void check(bool ok, const QString& what)
    {
        if (!ok && failures.size() < 20)
            failures.append(what);
    }
};

// One thread's own rows: inserted singly, as a batch and with a key of its
// own, changed by record and by fields, partly deleted, each checked by
// reading it back; now and then the name caches are dropped under the other
// threads' feet.
template <class Q>
void work(Q& q, const QString& table, int thread, const QElapsedTimer& clock, Ledger& ledger)
{
    const int roundCount = rounds();
    for (int i = 0; i < roundCount; ++i) {
        if (clock.elapsed() > timeLimitMs) {
            ledger.outOfTime = true;
            return;
        }
        const QString code = QStringLiteral("t%1-%2").arg(thread).arg(i);
        Item item(table);
        item.code = code;
        ledger.check(insertRecord(q, &item, true) && item.id > 0, code + " insert");
        item.label = "changed " + code;
        ledger.check(q.Update(&item), code + " update");
        ledger.expected.insert(code, item.label);
        const Row row = q.QueryFirst(QStringLiteral("select label from %1 where id = %2").arg(table).arg(item.id));
        ledger.check(row.value("label").toString() == item.label, code + " read back");

        switch (i % 4) {
        case 0: {
            Item a(table), b(table), c(table);
            QList<ObjectModel*> batch;
            char suffix = 'a';
            for (Item* one : {&a, &b, &c}) {
                one->code = one->label = code + QLatin1Char(suffix++);
                ledger.expected.insert(one->code, one->label);
                batch.append(one);
            }
            ledger.check(q.InsertList(batch, true, false), code + " insert list");
            break;
        }
        case 1: {
            // A key of its own (negative, so no generated key meets it): the lock is released after it.
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
            ledger.check(q.QueryRow(QStringLiteral("select count(*) from %1 where id = %2").arg(table).arg(item.id)) == 0,
                         code + " gone");
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
        DropTable drop{b, table};

        std::vector<Ledger> ledgers(threadCount);
        QElapsedTimer clock;
        clock.start();
        ExtendHandle sharedHandle, ownHandle;
        sharedHandle.InitInfo(connInfo(b, uniqueName(QStringLiteral("handle"))));
        ownHandle.InitInfo(connInfo(b, QString()));
        const QString sharedTag = uniqueName(QStringLiteral("shared"));
        const QString sharedName = b.kind == Kind::SQLite
            ? sharedTag + "|" + QFileInfo(b.file).fileName()
            : QStringList{sharedTag, b.server.host, QString::number(b.server.port), b.server.user, b.server.password,
                          b.server.dbname}.join(QLatin1Char('|'));
        // Threads 0-2 share an untagged object, 3-4 a tagged one, 5-6 a facade;
        // 7 has an untagged object of its own (sharing the untagged connection
        // name with 0-2), 8 a tagged one, 9 a facade of its own.
        auto run = [&](auto& untagged, auto& tagged, auto& ownUntagged, auto& ownTagged) {
            b.init(untagged, QString());
            b.init(tagged, sharedTag);
            b.init(ownUntagged, QString());
            b.init(ownTagged, uniqueName(QStringLiteral("own")));
            auto create = [&](int t, auto& q) {
                return QThread::create([&, t] {
                    work(q, table, t, clock, ledgers[size_t(t)]);
                    ledgers[size_t(t)].finished.store(true, std::memory_order_release);
                });
            };
            QList<QThread*> threads;
            for (int t = 0; t < threadCount; ++t) {
                if (t <= 2)
                    threads.append(create(t, untagged));
                else if (t <= 4)
                    threads.append(create(t, tagged));
                else if (t <= 6)
                    threads.append(create(t, sharedHandle));
                else
                    threads.append(t == 7 ? create(t, ownUntagged) : t == 8 ? create(t, ownTagged) : create(t, ownHandle));
            }
            for (QThread* thread : threads)
                thread->start();
            bool joined = true;
            for (QThread* thread : threads) {
                // The work stops itself at the time limit; this is the margin beyond it.
                if (!thread->wait(timeLimitMs + 60000)) {
                    joined = false;
                    thread->terminate();
                    thread->wait();
                }
                delete thread;
            }
            QVERIFY2(joined, "a thread never finished");
            // Threads that finished took their own connections with them.
            QCOMPARE(Tessark::ThreadConnections::namesOf(sharedName), QStringList());
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
            QVERIFY2(ledger.finished.load(std::memory_order_acquire), qPrintable(QStringLiteral("thread %1 never finished").arg(t)));
            QVERIFY2(!ledger.outOfTime, qPrintable(QStringLiteral("thread %1 ran out of time").arg(t)));
            expected.insert(ledger.expected);
            failures += ledger.failures;
        }
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join("; ") + " | " + log.messages().join(" | ")));

        // Every row each thread expects, with its last label, once, and nothing else.
        const RowList stored = b.help(uniqueName(QStringLiteral("observer")))
                                   ->Query(QStringLiteral("select code, label from %1").arg(table));
        QHash<QString, QString> found;
        QStringList doubled, lost;
        for (const Row& row : stored) {
            const QString code = row.value("code").toString();
            if (found.contains(code))
                doubled.append(code);
            found.insert(code, row.value("label").toString());
        }
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            if (!found.contains(it.key()))
                lost.append(it.key());
        }
        QVERIFY2(lost.isEmpty(), qPrintable(QStringLiteral("%1 rows lost: ").arg(lost.size()) + lost.join(",")));
        QVERIFY2(doubled.isEmpty(), qPrintable(doubled.join(",")));
        QVERIFY(found == expected); // each with its last label, and nothing extra
        QCOMPARE(log.messages(), QStringList());
    }
};

TESSARK_TEST_MAIN(TestLoad)
#include "tst_load.moc"
