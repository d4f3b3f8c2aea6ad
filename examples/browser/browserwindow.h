#ifndef TESSARK_EXAMPLES_BROWSERWINDOW_H
#define TESSARK_EXAMPLES_BROWSERWINDOW_H

#include <QMainWindow>

#include <memory>

class QLabel;
class QLineEdit;
class QListWidget;
class QTableView;

namespace Tessark {
class AsyncHandle;
class RecordTableModel;
} // namespace Tessark

// A connection URL (as the tessark tool reads it), its tables, the chosen
// one in a view that pages, sorts, filters and edits in the database, and
// the last error on the status line. The GUI thread never waits on the database.
class BrowserWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit BrowserWindow(QWidget* parent = nullptr);
    ~BrowserWindow() override;

public slots:
    // Connects to url and lists its tables; the password comes from the URL
    // or TESSARK_PASSWORD.
    void openUrl(const QString& url);
    void showTable(const QString& table);

private:
    void showError(const QString& message);

    QLineEdit* m_url;
    QLineEdit* m_filter;
    QListWidget* m_tables;
    QTableView* m_view;
    QLabel* m_status;
    // The model goes before the handle it reads through.
    std::unique_ptr<Tessark::AsyncHandle> m_handle;
    std::unique_ptr<Tessark::RecordTableModel> m_model;
};

#endif // TESSARK_EXAMPLES_BROWSERWINDOW_H
