// Many threads at once on one SQLite file and on each server, through shared
// and separate objects, tagged and untagged, persistence objects and the
// facade: every row written is found, none is lost or doubled, nothing is
// logged, and Qt never warns. scripts/test also runs this suite under
// ThreadSanitizer (TESSARK_TSAN).
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "core/threadconnections.h"
#include "reliability.h"

using namespace TessarkTest;

namespace {

struct Figures
{
    QMap<QString, QString> runs; // backend -> "threads x operations"
    qint64 calls = 0;
    qint64 rowsWritten = 0;
    qint64 rowsLost = 0;
};

Figures& figures()
{
    static Figures f;
    return f;
}

// Rounds per thread: TESSARK_TEST_LOAD_ROUNDS, else 40.
int rounds()
{
    bool ok = false;
    const int given = qEnvironmentVariableIntValue("TESSARK_TEST_LOAD_ROUNDS", &ok);
    return ok && given > 0 ? given : 40;
}

constexpr int threadCount = 10;
constexpr qint64 timeLimitMs = 300000;

// What one thread did and expects to find afterwards; touched by that thread only.
struct Ledger
{
    QHash<QString, QString> expected; // code -> label, for rows that should exist
    int calls = 0;
    int rows = 0;
    QStringList failures;
    bool outOfTime = false;
    // Set last, read after the join: the hand-over the main thread relies on,
    // in a form ThreadSanitizer sees (Qt's own join is not instrumented).
    std::atomic<bool> finished{false};

    void check(bool ok, const QString& what)
    {
        ++calls;
        if (!ok && failures.size() < 20)
            failures.append(what);
    }
};

// One thread's work: its own rows, inserted singly, as a batch and with a
// key of its own, changed by record and by fields, partly deleted, each
// checked by reading it back; now and then the name caches are dropped
// under the other threads' feet.
template <class Q>
void work(Q& q, const QString& table, int thread, int roundCount, const QElapsedTimer& clock, Ledger& ledger)
{
    const QString prefix = QStringLiteral("t%1-").arg(thread);
    for (int i = 0; i < roundCount; ++i) {
        if (clock.elapsed() > timeLimitMs) {
            ledger.outOfTime = true;
            return;
        }
        const QString code = prefix + QString::number(i);

        Item item(table);
        item.code = code;
        item.label = QStringLiteral("new");
        ledger.check(insertRecord(q, &item, true) && item.id > 0, code + QStringLiteral(" insert"));
        ledger.expected.insert(code, QStringLiteral("new"));
        ++ledger.rows;

        item.label = QStringLiteral("changed ") + code;
        ledger.check(q.Update(&item), code + QStringLiteral(" update"));
        ledger.expected.insert(code, item.label);
        const Row row = q.QueryFirst(QStringLiteral("select label from %1 where id = %2").arg(table).arg(item.id));
        ledger.check(row.value(QStringLiteral("label")).toString() == item.label, code + QStringLiteral(" read back"));

        switch (i % 4) {
        case 0: {
            std::vector<std::unique_ptr<Item>> items;
            QList<ObjectModel*> batch;
            for (const char* suffix : {"a", "b", "c"}) {
                items.push_back(std::make_unique<Item>(table));
                items.back()->code = code + QLatin1String(suffix);
                items.back()->label = QStringLiteral("batch");
                batch.append(items.back().get());
                ledger.expected.insert(items.back()->code, QStringLiteral("batch"));
            }
            ledger.check(q.InsertList(batch, true, false), code + QStringLiteral(" insert list"));
            ledger.rows += 3;
            break;
        }
        case 1: {
            // A key of its own (negative, so no generated key ever meets it): the lock is released after it.
            Item own(table);
            own.id = -(thread * 100000 + i + 1);
            own.code = code + QStringLiteral("k");
            own.label = QStringLiteral("own key");
            ledger.check(insertRecord(q, &own, false), code + QStringLiteral(" insert with own key"));
            ledger.expected.insert(own.code, own.label);
            ++ledger.rows;
            break;
        }
        case 2:
            ledger.check(q.Update(table, "code", {{"code", code}, {"label", "fields " + code}}),
                         code + QStringLiteral(" update fields"));
            ledger.expected.insert(code, QStringLiteral("fields ") + code);
            break;
        case 3:
            ledger.check(deleteValue(q, "id", item.id, table), code + QStringLiteral(" delete"));
            ledger.expected.remove(code);
            ledger.check(q.QueryRow(QStringLiteral("select count(*) from %1 where id = %2").arg(table).arg(item.id)) == 0,
                         code + QStringLiteral(" gone"));
            break;
        }
        if (i % 10 == 5) {
            q.CleanColumn();
            q.CleanTable();
            ledger.check(q.GetTableNames().contains(table), code + QStringLiteral(" table names"));
            ledger.check(q.GetColumnNames(table).size() == 3, code + QStringLiteral(" column names"));
        }
    }
}

} // namespace

class TestLoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }

    void cleanupTestCase()
    {
        const Figures& f = figures();
        qInfo().noquote() << QStringLiteral("load figures");
        for (auto it = f.runs.cbegin(); it != f.runs.cend(); ++it)
            qInfo().noquote() << QStringLiteral("  %1: %2").arg(it.key(), it.value());
        qInfo().noquote() << QStringLiteral("  calls: %1, rows written: %2, rows lost: %3")
                                 .arg(f.calls)
                                 .arg(f.rowsWritten)
                                 .arg(f.rowsLost);
    }

    void manyThreads_data() { addBackendRows(); }
    void manyThreads()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName(QStringLiteral("load"));
        QVERIFY(b.exec(itemTable(b, table)));
        struct Drop
        {
            const Backend& b;
            QString table;
            ~Drop() { b.exec(QStringLiteral("drop table %1").arg(table)); }
        } drop{b, table};

        // Threads 0-2 share an untagged object, 3-4 a tagged one, 5-6 a facade;
        // 7 has an untagged object of its own (sharing the untagged connection
        // name with 0-2), 8 a tagged one, 9 a facade of its own.
        const int roundCount = rounds();
        std::vector<Ledger> ledgers(threadCount);
        std::vector<std::function<void()>> bodies(threadCount);
        QElapsedTimer clock;
        clock.start();

        ExtendHandle sharedHandle;
        sharedHandle.InitInfo(connInfo(b, uniqueName(QStringLiteral("handle"))));
        ExtendHandle ownHandle;
        ownHandle.InitInfo(connInfo(b, QString()));

        const QString sharedTag = uniqueName(QStringLiteral("shared"));
        const QString sharedName = b.kind == Kind::SQLite
            ? sharedTag + QStringLiteral("|") + QFileInfo(b.file).fileName()
            : QStringList{sharedTag, b.server.host, QString::number(b.server.port), b.server.user, b.server.password,
                          b.server.dbname}.join(QLatin1Char('|'));
        auto setUp = [&](auto& untagged, auto& tagged, auto& ownUntagged, auto& ownTagged) {
            b.init(untagged, QString());
            b.init(tagged, sharedTag);
            b.init(ownUntagged, QString());
            b.init(ownTagged, uniqueName(QStringLiteral("own")));
            for (int t = 0; t < threadCount; ++t) {
                Ledger& ledger = ledgers[size_t(t)];
                auto run = [&, t](auto& q) { work(q, table, t, roundCount, clock, ledger); };
                auto finish = [&ledger] { ledger.finished.store(true, std::memory_order_release); };
                if (t <= 2)
                    bodies[size_t(t)] = [&untagged, run, finish] { run(untagged); finish(); };
                else if (t <= 4)
                    bodies[size_t(t)] = [&tagged, run, finish] { run(tagged); finish(); };
                else if (t <= 6)
                    bodies[size_t(t)] = [&sharedHandle, run, finish] { run(sharedHandle); finish(); };
                else if (t == 7)
                    bodies[size_t(t)] = [&ownUntagged, run, finish] { run(ownUntagged); finish(); };
                else if (t == 8)
                    bodies[size_t(t)] = [&ownTagged, run, finish] { run(ownTagged); finish(); };
                else
                    bodies[size_t(t)] = [&ownHandle, run, finish] { run(ownHandle); finish(); };
            }
            QList<QThread*> threads;
            for (int t = 0; t < threadCount; ++t)
                threads.append(QThread::create(bodies[size_t(t)]));
            for (QThread* thread : threads)
                thread->start();
            bool joined = true;
            for (QThread* thread : threads) {
                // Bounded: the work stops itself at the time limit; this is the margin beyond it.
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
        case Kind::SQLite: {
            SQLiteQuery u, t, ou, ot;
            setUp(u, t, ou, ot);
            break;
        }
        case Kind::PostgreSQL: {
            PostgreSQLQuery u, t, ou, ot;
            setUp(u, t, ou, ot);
            break;
        }
        case Kind::MySQL: {
            MySqlQuery u, t, ou, ot;
            setUp(u, t, ou, ot);
            break;
        }
        }
        if (QTest::currentTestFailed())
            return;

        // Every row each thread expects, with its last label, and nothing else.
        QHash<QString, QString> expected;
        int calls = 0, rows = 0;
        QStringList failures;
        for (int t = 0; t < threadCount; ++t) {
            const Ledger& ledger = ledgers[size_t(t)];
            QVERIFY2(ledger.finished.load(std::memory_order_acquire), qPrintable(QStringLiteral("thread %1 never finished").arg(t)));
            QVERIFY2(!ledger.outOfTime, qPrintable(QStringLiteral("thread %1 ran out of time").arg(t)));
            for (auto it = ledger.expected.cbegin(); it != ledger.expected.cend(); ++it)
                expected.insert(it.key(), it.value());
            calls += ledger.calls;
            rows += ledger.rows;
            failures += ledger.failures;
        }
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join(QStringLiteral("; ")) + QStringLiteral(" | ")
                                                + log.messages().join(QStringLiteral(" | "))));

        auto observer = b.help(uniqueName(QStringLiteral("observer")));
        const RowList stored = observer->Query(QStringLiteral("select code, label from %1").arg(table));
        QHash<QString, QString> found;
        QStringList doubled, unexpected, changed;
        for (const Row& row : stored) {
            const QString code = row.value(QStringLiteral("code")).toString();
            if (found.contains(code))
                doubled.append(code);
            found.insert(code, row.value(QStringLiteral("label")).toString());
            if (!expected.contains(code))
                unexpected.append(code);
            else if (expected.value(code) != found.value(code))
                changed.append(code);
        }
        int lost = 0;
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            lost += found.contains(it.key()) ? 0 : 1;
        figures().runs.insert(QTest::currentDataTag(),
                              QStringLiteral("%1 threads x %2 rounds = %3 calls, %4 rows written, %5 kept, %6 lost")
                                  .arg(threadCount)
                                  .arg(roundCount)
                                  .arg(calls)
                                  .arg(rows)
                                  .arg(expected.size())
                                  .arg(lost));
        figures().calls += calls;
        figures().rowsWritten += rows;
        figures().rowsLost += lost;
        QCOMPARE(lost, 0);
        QVERIFY2(doubled.isEmpty(), qPrintable(doubled.join(",")));
        QVERIFY2(unexpected.isEmpty(), qPrintable(unexpected.join(",")));
        QVERIFY2(changed.isEmpty(), qPrintable(changed.join(",")));
        QCOMPARE(stored.size(), expected.size());
        QCOMPARE(log.messages(), QStringList());
    }
};

TESSARK_TEST_MAIN(TestLoad)
#include "tst_load.moc"
