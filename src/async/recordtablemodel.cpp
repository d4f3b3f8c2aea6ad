#include "async/recordtablemodel.h"

#include <QFuture>
#include <QSet>
#include <QVector>

#include <algorithm>

#include "async/asynchandle.h"
#include "async/asynchandle_p.h"
#include "core/backend.h"
#include "core/dialect.h"

namespace Tessark {

namespace {

const int maxWanted = 8; // pages a view asked for and still waits on; older wishes are dropped

QString errorText(const AsyncHandle* handle, const QString& fallback)
{
    const LastError error = handle ? handle->lastError() : LastError();
    if (error.message.isEmpty())
        return fallback;
    return error.driverText.trimmed().isEmpty() ? error.message
                                                : error.message.trimmed() + QStringLiteral(": ") + error.driverText.simplified();
}

} // namespace

class RecordTableModel::Private
{
public:
    explicit Private(RecordTableModel* model, AsyncHandle* handle) : q(model), handle(handle) {}

    typedef QVector<QVector<QVariant>> Page;

    RecordTableModel* const q;
    QPointer<AsyncHandle> handle;
    BrowseSource source;
    QString key;        // as the caller gave it; keyColumn is the result's spelling
    int keyColumn = -1;
    int pageSize = 256;     // of this generation
    int nextPageSize = 256; // from the next reload on

    // Everything below belongs to one generation: a reload starts the next,
    // and answers to an older one are dropped.
    quint64 generation = 0;
    QStringList columns;
    int rows = 0;
    bool counted = false;
    bool failed = false;
    QHash<int, Page> pages;
    QSet<int> failedPages;
    int inFlight = -1; // the one page asked for and not yet here
    QFuture<ResultRows> inFlightFuture;
    QList<int> wanted; // most recent last
    int pendingEdits = 0;

    bool loaded(int page) const { return pages.contains(page) || failedPages.contains(page); }
    int pageCount() const { return (rows + pageSize - 1) / pageSize; }
    const QVariant* cell(int row, int column) const;
    QVariant* cell(int row, int column);

    // The rows of text(the backend's dialect), behind every call made through the handle so far.
    QFuture<ResultRows> browse(std::function<QString(const Dialect&)> text) const;
    void start();
    void columnsArrived(quint64 gen, const ResultRows& result);
    void countArrived(quint64 gen, const ResultRows& result);
    void want(int page);
    void startNext();
    void pageArrived(quint64 gen, int page, const ResultRows& result);
    void fail(const QString& fallback);
};

const QVariant* RecordTableModel::Private::cell(int row, int column) const
{
    const auto page = pages.constFind(row / pageSize);
    if (page == pages.cend() || row % pageSize >= page->size() || column >= columns.size())
        return nullptr;
    return &(*page)[row % pageSize][column];
}

QVariant* RecordTableModel::Private::cell(int row, int column)
{
    const auto page = pages.find(row / pageSize);
    if (page == pages.end() || row % pageSize >= page->size() || column >= columns.size())
        return nullptr;
    return &(*page)[row % pageSize][column];
}

void RecordTableModel::Private::fail(const QString& fallback)
{
    failed = true;
    emit q->loadFailed(errorText(handle, fallback));
}

QFuture<ResultRows> RecordTableModel::Private::browse(std::function<QString(const Dialect&)> text) const
{
    return handle->d->submit<ResultRows>([text = std::move(text)](Backend& backend) {
        ResultRows result;
        result.rows = backend.persistence().Query(text(backend.dialect()), &result.columns);
        return result;
    });
}

// First one row unordered, for the columns in the database's order and the
// key's spelling; then the count and the first page ordered by the key.
void RecordTableModel::Private::start()
{
    if (!handle) {
        failed = true;
        emit q->loadFailed(QStringLiteral("the model has no AsyncHandle to read through"));
        return;
    }
    BrowseSource probe = source;
    probe.orderBy.clear();
    probe.tiebreak.clear();
    const quint64 gen = generation;
    AsyncHandle::onResult(browse([probe](const Dialect& dialect) { return dialect.GetBrowsePageSql(probe, 0, 1); }), q,
                          [this, gen](const ResultRows& result) { columnsArrived(gen, result); });
}

void RecordTableModel::Private::columnsArrived(quint64 gen, const ResultRows& result)
{
    if (gen != generation)
        return;
    if (result.columns.isEmpty())
        return fail(QStringLiteral("cannot read the columns of %1").arg(source.table.isEmpty() ? source.query : source.table));
    keyColumn = 0;
    for (int i = 0; i < result.columns.size(); ++i) {
        if (result.columns[i].compare(key, Qt::CaseInsensitive) == 0)
            keyColumn = i;
    }
    if (!key.isEmpty() && result.columns[keyColumn].compare(key, Qt::CaseInsensitive) != 0)
        return fail(QStringLiteral("%1 has no key column %2").arg(source.table, key));
    q->beginInsertColumns(QModelIndex(), 0, result.columns.size() - 1);
    columns = result.columns;
    q->endInsertColumns();
    // Paging needs a total order: the caller's column, then the key.
    source.tiebreak = columns[keyColumn];
    if (!handle)
        return;
    const BrowseSource counted = source;
    AsyncHandle::onResult(browse([counted](const Dialect& dialect) { return dialect.GetBrowseCountSql(counted); }), q,
                          [this, gen](const ResultRows& count) { countArrived(gen, count); });
}

void RecordTableModel::Private::countArrived(quint64 gen, const ResultRows& result)
{
    if (gen != generation)
        return;
    if (result.columns.isEmpty() || result.rows.isEmpty())
        return fail(QStringLiteral("cannot count the rows"));
    const int n = result.rows.first().value(result.columns.first()).toInt();
    counted = true;
    if (n > 0) {
        q->beginInsertRows(QModelIndex(), 0, n - 1);
        rows = n;
        q->endInsertRows();
        want(0);
    }
}

void RecordTableModel::Private::want(int page)
{
    if (page < 0 || page >= pageCount() || loaded(page) || page == inFlight || failed)
        return;
    wanted.removeAll(page);
    wanted.append(page);
    if (wanted.size() > maxWanted)
        wanted.removeFirst();
    startNext();
}

// One page in flight: the next is asked for when it is back, the most
// recently wanted first (what the view shows now).
void RecordTableModel::Private::startNext()
{
    if (inFlight >= 0 || wanted.isEmpty() || !handle)
        return;
    const int page = wanted.takeLast();
    inFlight = page;
    const quint64 gen = generation;
    const BrowseSource paged = source;
    const int offset = page * pageSize, count = pageSize;
    inFlightFuture = browse([paged, offset, count](const Dialect& dialect) {
        return dialect.GetBrowsePageSql(paged, offset, count);
    });
    AsyncHandle::onResult(inFlightFuture, q,
                          [this, gen, page](const ResultRows& result) { pageArrived(gen, page, result); });
}

void RecordTableModel::Private::pageArrived(quint64 gen, int page, const ResultRows& result)
{
    if (gen != generation)
        return;
    inFlight = -1;
    inFlightFuture = QFuture<ResultRows>();
    if (result.columns.isEmpty()) {
        failedPages.insert(page);
        emit q->loadFailed(errorText(handle, QStringLiteral("cannot read rows %1 to %2")
                                                     .arg(page * pageSize + 1)
                                                     .arg((page + 1) * pageSize)));
    } else {
        const int first = page * pageSize;
        // Rows added since the count stay out until a reload.
        const int n = std::min(int(result.rows.size()), std::min(pageSize, rows - first));
        Page values(n);
        for (int r = 0; r < n; ++r) {
            values[r].reserve(columns.size());
            for (const QString& column : qAsConst(columns))
                values[r].append(result.rows[r].value(column));
        }
        pages.insert(page, values);
        if (n > 0) {
            emit q->dataChanged(q->index(first, 0), q->index(first + n - 1, columns.size() - 1));
            emit q->pageLoaded(first, n);
        }
    }
    startNext();
}

RecordTableModel::RecordTableModel(AsyncHandle* handle, QObject* parent)
    : QAbstractTableModel(parent), d(std::make_unique<Private>(this, handle))
{
}

RecordTableModel::~RecordTableModel()
{
    d->inFlightFuture.cancel(); // nobody will show it
}

void RecordTableModel::setTable(const QString& table, const QString& key)
{
    d->source = BrowseSource();
    d->source.table = table;
    d->key = key;
    reload();
}

void RecordTableModel::setQuery(const QString& sql)
{
    d->source = BrowseSource();
    d->source.query = sql;
    d->key.clear();
    reload();
}

QString RecordTableModel::table() const
{
    return d->source.table;
}

QString RecordTableModel::key() const
{
    return d->keyColumn >= 0 && d->keyColumn < d->columns.size() ? d->columns[d->keyColumn] : d->key;
}

void RecordTableModel::setFilter(const QString& where)
{
    d->source.where = where;
    reload();
}

QString RecordTableModel::filter() const
{
    return d->source.where;
}

void RecordTableModel::setPageSize(int rows)
{
    d->nextPageSize = std::max(1, rows);
}

int RecordTableModel::pageSize() const
{
    return d->nextPageSize;
}

void RecordTableModel::reload()
{
    beginResetModel();
    ++d->generation;
    d->inFlightFuture.cancel();
    d->inFlightFuture = QFuture<ResultRows>();
    d->inFlight = -1;
    d->wanted.clear();
    d->pages.clear();
    d->failedPages.clear();
    d->columns.clear();
    d->keyColumn = -1;
    d->rows = 0;
    d->pageSize = d->nextPageSize;
    d->counted = false;
    d->failed = false;
    endResetModel();
    if (!d->source.table.isEmpty() || !d->source.query.trimmed().isEmpty())
        d->start();
}

bool RecordTableModel::allLoaded() const
{
    if (!d->counted)
        return false;
    for (int page = 0; page < d->pageCount(); ++page) {
        if (!d->loaded(page))
            return false;
    }
    return true;
}

bool RecordTableModel::isIdle() const
{
    return (d->counted || d->failed) && d->inFlight < 0 && d->pendingEdits == 0;
}

int RecordTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : d->rows;
}

int RecordTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : d->columns.size();
}

QVariant RecordTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= d->rows)
        return QVariant();
    int column = index.column();
    if (role > Qt::UserRole && role <= Qt::UserRole + d->columns.size())
        column = role - Qt::UserRole - 1;
    else if (role != Qt::DisplayRole && role != Qt::EditRole)
        return QVariant();
    if (const QVariant* value = d->cell(index.row(), column))
        return *value;
    d->want(index.row() / d->pageSize);
    return role == Qt::EditRole ? QVariant() : QVariant(QStringLiteral("\u2026"));
}

QVariant RecordTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role == Qt::DisplayRole && orientation == Qt::Horizontal && section >= 0 && section < d->columns.size())
        return d->columns[section];
    return QAbstractTableModel::headerData(section, orientation, role);
}

Qt::ItemFlags RecordTableModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (index.isValid() && !d->source.table.isEmpty() && index.column() != d->keyColumn
        && d->cell(index.row(), index.column()))
        flags |= Qt::ItemIsEditable;
    return flags;
}

bool RecordTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !d->handle || !(flags(index) & Qt::ItemIsEditable))
        return false;
    const QString keyValue = d->cell(index.row(), d->keyColumn)->toString();
    QVariant& stored = *d->cell(index.row(), index.column());
    if (stored == value)
        return true;
    const QVariant old = stored;
    const QString column = d->columns[index.column()];
    stored = value;
    emit dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole});

    const quint64 gen = d->generation;
    const int row = index.row(), col = index.column();
    ++d->pendingEdits;
    const QString keyName = key();
    AsyncHandle::onResult(d->handle->Update(d->source.table, keyName, {{keyName, keyValue}, {column, value.toString()}}),
                          this, [this, gen, row, col, old, value](bool ok) {
                              --d->pendingEdits;
                              if (ok) {
                                  emit editStored(row, col);
                                  return;
                              }
                              // Revert unless a reload or a later edit has replaced the value.
                              QVariant* now = gen == d->generation ? d->cell(row, col) : nullptr;
                              if (now && *now == value) {
                                  *now = old;
                                  emit dataChanged(this->index(row, col), this->index(row, col), {Qt::DisplayRole, Qt::EditRole});
                              }
                              emit editFailed(row, col, errorText(d->handle, QStringLiteral("the edit was not stored")));
                          });
    return true;
}

void RecordTableModel::sort(int column, Qt::SortOrder order)
{
    if (column >= d->columns.size())
        return;
    const QString orderBy = column < 0 ? QString() : d->columns[column];
    const bool descending = order == Qt::DescendingOrder && column >= 0;
    if (orderBy == d->source.orderBy && descending == d->source.descending)
        return;
    d->source.orderBy = orderBy;
    d->source.descending = descending;
    reload();
}

bool RecordTableModel::canFetchMore(const QModelIndex& parent) const
{
    return !parent.isValid() && !d->failed && d->counted && !allLoaded();
}

void RecordTableModel::fetchMore(const QModelIndex& parent)
{
    if (parent.isValid())
        return;
    for (int page = 0; page < d->pageCount(); ++page) {
        if (!d->loaded(page) && page != d->inFlight && !d->wanted.contains(page)) {
            d->want(page);
            return;
        }
    }
}

QHash<int, QByteArray> RecordTableModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractTableModel::roleNames();
    for (int i = 0; i < d->columns.size(); ++i)
        names.insert(Qt::UserRole + 1 + i, d->columns[i].toUtf8());
    return names;
}

} // namespace Tessark
