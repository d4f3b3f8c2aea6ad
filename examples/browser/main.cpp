// tessark-browser [URL [TABLE]]: a window on a database's tables.
#include <QApplication>
#include <QListWidget>

#include "browserwindow.h"

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    BrowserWindow window;
    const QStringList args = app.arguments();
    if (args.size() > 1)
        window.openUrl(args.at(1));
    if (args.size() > 2) {
        // Chosen once the table list is there.
        auto* tables = window.findChild<QListWidget*>(QStringLiteral("tables"));
        QObject::connect(tables->model(), &QAbstractItemModel::rowsInserted, tables, [tables, table = args.at(2)] {
            const auto found = tables->findItems(table, Qt::MatchFixedString);
            if (!found.isEmpty())
                tables->setCurrentItem(found.first());
        });
    }
    window.show();
    return app.exec();
}
