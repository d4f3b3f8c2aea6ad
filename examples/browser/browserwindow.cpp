#include "browserwindow.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTableView>
#include <QVBoxLayout>

#include "async/asynchandle.h"
#include "async/recordtablemodel.h"
#include "connectionurl.h"

BrowserWindow::BrowserWindow(QWidget* parent)
    : QMainWindow(parent)
    , m_url(new QLineEdit)
    , m_filter(new QLineEdit)
    , m_tables(new QListWidget)
    , m_view(new QTableView)
    , m_status(new QLabel)
{
    setWindowTitle(QStringLiteral("Tessark browser"));
    m_url->setObjectName(QStringLiteral("url"));
    m_url->setPlaceholderText(QStringLiteral("sqlite:PATH or postgresql://USER@HOST:PORT/DB"));
    m_filter->setObjectName(QStringLiteral("filter"));
    m_filter->setPlaceholderText(QStringLiteral("WHERE condition, e.g. score > 10"));
    m_tables->setObjectName(QStringLiteral("tables"));
    m_view->setObjectName(QStringLiteral("rows"));
    m_view->setSortingEnabled(true);
    // Rows arrive after the columns: size them for typical values, not the first page's.
    m_view->horizontalHeader()->setDefaultSectionSize(140);
    m_view->horizontalHeader()->setStretchLastSection(true);
    m_view->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    m_status->setObjectName(QStringLiteral("status"));
    // A long error must not widen the window: it is cut at the window's edge.
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* open = new QPushButton(QStringLiteral("Open"));
    open->setObjectName(QStringLiteral("open"));

    auto* top = new QHBoxLayout;
    top->addWidget(m_url, 3);
    top->addWidget(open);
    top->addWidget(m_filter, 2);
    auto* split = new QSplitter;
    split->addWidget(m_tables);
    split->addWidget(m_view);
    split->setStretchFactor(1, 4);
    auto* central = new QWidget;
    auto* column = new QVBoxLayout(central);
    column->addLayout(top);
    column->addWidget(split);
    setCentralWidget(central);
    statusBar()->addWidget(m_status, 1);
    resize(900, 560);

    connect(open, &QPushButton::clicked, this, [this] { openUrl(m_url->text()); });
    connect(m_url, &QLineEdit::returnPressed, open, &QPushButton::click);
    connect(m_tables, &QListWidget::currentTextChanged, this, &BrowserWindow::showTable);
    connect(m_filter, &QLineEdit::returnPressed, this, [this] {
        if (m_model)
            m_model->setFilter(m_filter->text());
    });
}

BrowserWindow::~BrowserWindow() = default;

void BrowserWindow::openUrl(const QString& url)
{
    m_url->setText(url);
    m_view->setModel(nullptr);
    m_model.reset();
    m_handle.reset();
    m_tables->clear();
    ConnectionUrl::Parsed parsed = ConnectionUrl::parse(url.trimmed(), QStringLiteral("browser"));
    if (!parsed.error.isEmpty())
        return showError(parsed.error);
    if (!parsed.passwordInUrl)
        parsed.info.Password = qEnvironmentVariable("TESSARK_PASSWORD");

    m_handle = std::make_unique<Tessark::AsyncHandle>();
    m_handle->InitInfo(parsed.info);
    m_model = std::make_unique<Tessark::RecordTableModel>(m_handle.get());
    connect(m_model.get(), &Tessark::RecordTableModel::loadFailed, this, &BrowserWindow::showError);
    connect(m_model.get(), &Tessark::RecordTableModel::editFailed, this,
            [this](int row, int, const QString& error) { showError(QStringLiteral("row %1 not stored: %2").arg(row + 1).arg(error)); });
    m_view->setModel(m_model.get());
    m_status->setText(QStringLiteral("connecting to %1 ...").arg(parsed.display));
    const QString display = parsed.display;
    Tessark::AsyncHandle::onResult(m_handle->InitConnect(), this, [this, display](bool connected) {
        if (!connected)
            return showError(QStringLiteral("cannot connect to %1: %2").arg(display, m_handle->lastError().driverText));
        Tessark::AsyncHandle::onResult(m_handle->GetTableNames(), this, [this, display](const QStringList& tables) {
            m_tables->addItems(tables);
            m_status->setText(QStringLiteral("%1: %2 tables").arg(display).arg(tables.size()));
        });
    });
}

void BrowserWindow::showTable(const QString& table)
{
    if (!m_model || table.isEmpty())
        return;
    m_filter->clear();
    m_view->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    m_model->setTable(table);
}

void BrowserWindow::showError(const QString& message)
{
    m_status->setText(message.simplified());
}
