// docs/guide.md's code compiles, and its SQLite parts do what the guide says.
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
};

TESSARK_TEST_MAIN(TestGuide)
#include "tst_guide.moc"
// Here rather than in AUTOMOC's own file: the guide defines functions.
#include "moc_guide_blocks.cpp"
