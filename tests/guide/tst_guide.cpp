// docs/guide.md's and docs/async.md's code compiles, and their SQLite parts do what the docs say.
#include <QtTest>

#include "../support/tessarktest.h"
#include "guide_blocks.h"

using namespace TessarkTest;

class TestGuide : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }

    void sqliteWalkthrough()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("guide.db");
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
        LogFolder log;
        ExtendHandle db;
        QVERIFY(connectSqlite(db, path));
        QVERIFY(statements(db));
        QVERIFY(storeAndChange(db));
        QVERIFY(statements(db));
        QVERIFY(lists(db));
        QCOMPARE(newKey(db), 4);
        QCOMPARE(titlesOfPage(db, 0, 1), QStringList{"Emma"});
        QCOMPARE(titlesOfPage(db, 1, 1), QStringList{"Sanditon"});
        QVERIFY(!whyItFailed(db, log.path()).isEmpty());
        QVERIFY(log.readAll().contains("no_such_table"));
    }

    void asyncWalkthrough()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("async.db");
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
        LogFolder log;
        ExtendHandle sync;
        QVERIFY(connectSqlite(sync, path) && statements(sync));
        Tessark::AsyncHandle db;
        db.InitInfo(ConnInfoModel(2, path, QStringLiteral("async")));
        QObject window;
        Book book;
        book.title = QStringLiteral("Emma");
        book.price = 7.5;
        const QFuture<bool> stored = storeBook(db, &book);
        QTRY_VERIFY(stored.isFinished());
        QVERIFY(stored.result() && book.id > 0);
        QStringList titles;
        showTitles(db, &window, [&](const QStringList& t) { titles = t; });
        QTRY_COMPARE(titles, QStringList{"Emma"});
        int counted = -1, thenCounted = -1;
        countWithWatcher(db, &window, [&](int n) { counted = n; });
        QTRY_COMPARE(counted, 1);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        countWithThen(db, &window, [&](int n) { thenCounted = n; });
        QTRY_COMPARE(thenCounted, 1);
#endif
        QFuture<RowList> report = db.Query(QStringLiteral("select * from book"));
        abandon(report);
        QVERIFY(report.isCanceled());
        QString error;
        Tessark::RecordTableModel* model = bookModel(db, &window, [&](const QString& e) { error = e; });
        QTRY_COMPARE(model->rowCount(), 1);
        QTRY_COMPARE(model->data(model->index(0, 1)).toString(), QStringLiteral("Emma"));
        QVERIFY(error.isEmpty());
        Q_UNUSED(thenCounted);
    }
};

TESSARK_TEST_MAIN(TestGuide)
#include "tst_guide.moc"
// Here rather than in AUTOMOC's own file: the guide defines functions.
#include "moc_guide_blocks.cpp"
