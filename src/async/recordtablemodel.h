#ifndef TESSARK_ASYNC_RECORDTABLEMODEL_H
#define TESSARK_ASYNC_RECORDTABLEMODEL_H

#include <QAbstractTableModel>
#include <QHash>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <memory>

#include "brelvan_global.h"
#include "Model/types.h"

namespace Tessark {

class AsyncHandle;

/// A table, or the rows of a query, shown through an AsyncHandle without
/// blocking the thread the model lives in.
///
/// The row count comes first, from a COUNT(*), so a view's scroll bar is
/// right at once; rows then arrive a page at a time, at most one page in
/// flight, and show a placeholder until theirs arrives. A view asks for the
/// pages it shows (data()) and for the next one at its end (fetchMore()).
/// Sorting and filtering go to the database as the page query's ORDER BY and
/// WHERE. A table's cells are editable except its key: setData() shows the
/// value at once and writes it back by key through AsyncHandle::Update; on
/// failure the cell reverts and editFailed() carries the error. See docs/async.md.
class BRELVANSHARED_EXPORT RecordTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    /// A model that shows nothing until setTable() or setQuery(); handle must
    /// outlive it or be destroyed first (the model then shows nothing new).
    explicit RecordTableModel(AsyncHandle* handle, QObject* parent = nullptr);
    ~RecordTableModel() override;

    /// Shows table, editable by key (empty: the table's first column);
    /// sort order and filter start empty, rows in key order.
    void setTable(const QString& table, const QString& key = QString());
    /// Shows the rows of a SELECT, read-only; sort order and filter start empty.
    void setQuery(const QString& sql);
    /// The table shown; empty for a query.
    QString table() const;
    /// The column edits are written back by.
    QString key() const;

    /// Keeps only the rows that meet where, an SQL condition without the WHERE
    /// keyword (the caller's text, sent as it is); empty shows every row.
    void setFilter(const QString& where);
    /// The condition setFilter() set.
    QString filter() const;
    /// Rows per page query (at least 1, default 256); takes effect on the next reload.
    void setPageSize(int rows);
    /// Rows per page query.
    int pageSize() const;
    /// Forgets every row and reads the count and the visible pages again.
    void reload();

    /// Whether every row of the current count has arrived.
    bool allLoaded() const;
    /// Whether the row count and every edit sent have come back.
    bool isIdle() const;

    /// The rows the count found; 0 until it arrives.
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    /// The result's columns; 0 until the first page arrives.
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    /// The cell's value, or a placeholder ("…") while its page is on its way;
    /// a role of roleNames() gives that column of the row, as QML asks.
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    /// Column names across, row numbers down.
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    /// Editable for a table's loaded cells outside its key.
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    /// Shows value and writes it back by key; false for a cell that cannot be edited.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    /// Orders by the column in the database and reads the rows again.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;
    /// True once counted while some page has not arrived.
    bool canFetchMore(const QModelIndex& parent = QModelIndex()) const override;
    /// Asks for the first page not yet asked for.
    void fetchMore(const QModelIndex& parent = QModelIndex()) override;
    /// One role per column, Qt::UserRole + 1 onwards, named as the column.
    QHash<int, QByteArray> roleNames() const override;

signals:
    /// An edit was refused by the database; the cell shows its old value again.
    void editFailed(int row, int column, const QString& error);
    /// An edit was stored.
    void editStored(int row, int column);
    /// The count or a page could not be read.
    void loadFailed(const QString& error);
    /// A page of rows arrived.
    void pageLoaded(int firstRow, int rows);

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Tessark

#endif // TESSARK_ASYNC_RECORDTABLEMODEL_H
