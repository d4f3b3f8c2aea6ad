// RecordTableModel on every backend: pages on demand, order and condition in
// the database, edits stored by key or reverted with the database's reason.
#include <QtTest>

#include "../common/backends.h"
#include "async/asynchandle.h"
#include "async/recordtablemodel.h"

using namespace TessarkTest;
using Tessark::RecordTableModel;

class TestRecordTableModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }

    void browseSortFilterEdit_data() { addBackendRows(); }
    void browseSortFilterEdit()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString t = uniqueName(QStringLiteral("rtm"));
        DropTables drop{b, {t}};
        QVERIFY(b.exec(QStringLiteral("create table %1 (id int primary key, name varchar(40), score int check (score >= 0))").arg(t)));
        QVERIFY(b.exec(b.numberedRowsSql(t, 1000)));
        Tessark::AsyncHandle handle;
        handle.InitInfo(b.info());
        RecordTableModel model(&handle);
        QSignalSpy stored(&model, &RecordTableModel::editStored), failed(&model, &RecordTableModel::editFailed),
            loadFailed(&model, &RecordTableModel::loadFailed);
        model.setPageSize(100);
        model.setTable(t);
        QTRY_COMPARE(model.rowCount(), 1000);
        QCOMPARE(model.headerData(2, Qt::Horizontal).toString().toLower(), QStringLiteral("score"));
        QVERIFY(model.roleNames().values().contains("name"));
        // A row far from the first page waits for its own page, in key order.
        QCOMPARE(model.data(model.index(950, 1)).toString(), QStringLiteral("\u2026"));
        QTRY_COMPARE(model.data(model.index(950, 1)).toString(), QStringLiteral("name 951"));
        QVERIFY(!model.allLoaded() && model.canFetchMore());

        model.sort(2, Qt::DescendingOrder); // score 99 first, ties in key order
        QTRY_COMPARE(model.data(model.index(0, 0)).toInt(), 99);
        QTRY_COMPARE(model.data(model.index(999, 0)).toInt(), 1000);
        model.setFilter(QStringLiteral("score = 5"));
        QTRY_VERIFY(model.rowCount() == 10 && model.allLoaded());
        QCOMPARE(model.data(model.index(9, 0)).toInt(), 905);

        QVERIFY(!(model.flags(model.index(0, 0)) & Qt::ItemIsEditable));
        QVERIFY(!model.setData(model.index(0, 0), 7));
        QVERIFY(model.setData(model.index(1, 1), QStringLiteral("O'Brien")));
        QTRY_COMPARE(stored.count(), 1);
        QCOMPARE(stored.first(), (QVariantList{1, 1}));
        QCOMPARE(handle.QueryRow(QStringLiteral("select count(*) from %1 where id = 105 and name = 'O''Brien'").arg(t)).result(), 1);
        QVERIFY(model.setData(model.index(2, 2), -1)); // shown at once, refused by the CHECK
        QCOMPARE(model.data(model.index(2, 2)).toInt(), -1);
        QTRY_COMPARE(failed.count(), 1);
        QCOMPARE(model.data(model.index(2, 2)).toInt(), 5);
        QVERIFY(!failed.first().at(2).toString().isEmpty());
        QCOMPARE(handle.QueryRow(QStringLiteral("select score from %1 where id = 205").arg(t)).result(), 5);

        model.setFilter(QStringLiteral("no_such_column = 1"));
        QTRY_COMPARE(loadFailed.count(), 1);
        QVERIFY(loadFailed.first().first().toString().contains(QStringLiteral("no_such_column")));
        QCOMPARE(model.rowCount(), 0);
        QVERIFY(!model.canFetchMore());
    }
};

TESSARK_TEST_MAIN(TestRecordTableModel)
#include "tst_recordtablemodel.moc"
