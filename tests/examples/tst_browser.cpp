// The example window on 100,000 rows of each backend: scroll to the end, edit
// the last row through the view's editor, find the edit stored, and keep a
// screenshot in the build folder.
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include "../common/backends.h"
#include "async/asynchandle.h"
#include "async/recordtablemodel.h"
#include "browserwindow.h"

using namespace TessarkTest;

class TestBrowser : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }

    void scrollEditShoot_data() { addBackendRows(); }
    void scrollEditShoot()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString t = uniqueName(QStringLiteral("browse"));
        DropTables drop{b, {t}};
        QVERIFY(b.exec(QStringLiteral("create table %1 (id int primary key, name varchar(40), score int)").arg(t)));
        QVERIFY(b.exec(b.numberedRowsSql(t, 100000)));
        qputenv("TESSARK_PASSWORD", b.server.password.toUtf8());

        BrowserWindow window;
        // Laid out before it has a platform window: the offscreen platform
        // warns when a shown window's minimum size changes.
        window.layout()->activate();
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.findChild<QLineEdit*>(QStringLiteral("url"))->setText(b.url());
        QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("open")), Qt::LeftButton);
        auto* tables = window.findChild<QListWidget*>(QStringLiteral("tables"));
        QTRY_VERIFY_WITH_TIMEOUT(!tables->findItems(t, Qt::MatchFixedString).isEmpty(), 20000);
        tables->setCurrentItem(tables->findItems(t, Qt::MatchFixedString).first());

        auto* view = window.findChild<QTableView*>(QStringLiteral("rows"));
        auto* model = qobject_cast<Tessark::RecordTableModel*>(view->model());
        QVERIFY(model);
        QTRY_COMPARE_WITH_TIMEOUT(model->rowCount(), 100000, 20000);
        view->scrollToBottom();
        const QModelIndex last = model->index(99999, 1);
        QTRY_COMPARE_WITH_TIMEOUT(model->data(last).toString(), QStringLiteral("name 100000"), 20000);

        view->setCurrentIndex(last);
        view->edit(last);
        auto* editor = view->viewport()->findChild<QLineEdit*>();
        QVERIFY(editor);
        editor->selectAll();
        QTest::keyClicks(editor, QStringLiteral("edited"));
        QTest::keyClick(editor, Qt::Key_Return);
        Tessark::AsyncHandle check;
        check.InitInfo(b.info(QStringLiteral("check")));
        const QString storedSql = QStringLiteral("select count(*) from %1 where id = 100000 and name = 'edited'").arg(t);
        QTRY_COMPARE_WITH_TIMEOUT(check.QueryRow(storedSql).result(), 1, 20000);
        QTRY_VERIFY(model->isIdle());
        QVERIFY(window.findChild<QLabel*>(QStringLiteral("status"))->text().contains(QStringLiteral("tables")));

        const QString shot = QStringLiteral(TESSARK_SHOT_DIR "/tst_browser_%1.png").arg(QTest::currentDataTag());
        QVERIFY(window.grab().save(shot));
    }
};

TESSARK_TEST_GUI_MAIN(TestBrowser)
#include "tst_browser.moc"
