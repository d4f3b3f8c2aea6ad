#ifndef TESSARK_ASYNC_ASYNCHANDLE_H
#define TESSARK_ASYNC_ASYNCHANDLE_H

#include <QFuture>
#include <QFutureWatcher>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <type_traits>
#include <utility>

#include "brelvan_global.h"
#include "Model/conninfomodel.h"
#include "Model/types.h"
#include "core/lasterror.h"

class ObjectModel;

namespace Tessark {

/// A query's rows together with its columns in the order the database gave them.
struct ResultRows
{
    QStringList columns; ///< column names, in result order
    RowList rows;        ///< the rows; empty on failure
};

/// ExtendHandle's operations without blocking the calling thread: every call
/// returns at once with a QFuture of the synchronous call's result type.
///
/// Calls made through one handle run one after another, in the order they
/// were made, on a worker thread of a pool the library owns; each worker has
/// its own connection. Failures give the same false or empty results and log
/// entries as the synchronous calls. A record is read when the call is made,
/// in the calling thread; a generated key is written back in the record's
/// thread before the future finishes, and not at all if the record is gone
/// by then, so that thread must run an event loop and must not block on the
/// future. Cancelling a queued call means it never runs; cancelling a running
/// query interrupts it in the database (which logs it as the failure it is)
/// and the connection stays usable. A cancelled future holds no result.
/// Destroying the handle cancels its queued calls and waits for the running
/// one. A handle keeps one worker thread, and so one session, all its life.
///
/// To get a result in a thread of one's own: onResult(); a QFutureWatcher
/// made in that thread (Qt 5.15); or future.then(context, ...) (Qt 6). See
/// docs/async.md.
class BRELVANSHARED_EXPORT AsyncHandle : public QObject
{
    Q_OBJECT
public:
    /// A handle that reaches no database until InitInfo().
    explicit AsyncHandle(QObject* parent = nullptr);
    /// Cancels the queued calls and waits for the running one to end.
    ~AsyncHandle() override;

    /// Chooses the database kind and says where it is; takes effect in call order.
    void InitInfo(ConnInfoModel info);
    /// The database kind InitInfo() chose.
    short GetType() const;

    /// Opens the connection.
    QFuture<bool> InitConnect();
    /// Runs a statement that returns no rows, in a transaction of its own.
    QFuture<bool> ExecuteSQL(QString sql);
    /// The rows of a query.
    QFuture<RowList> Query(QString sql);
    /// The rows of a query and its column order.
    QFuture<ResultRows> QueryColumns(QString sql);
    /// Every row of the record's table.
    QFuture<RowList> Query(ObjectModel* model);
    /// count rows of the record's table from offset.
    QFuture<RowList> Query(int offset, int count, ObjectModel* model);
    /// The first row of a query.
    QFuture<Row> QueryFirst(QString sql);
    /// The first column of the first row as a number (a count).
    QFuture<int> QueryRow(QString sql);

    /// Stores a record; with generatedKey the key is written back into model.
    QFuture<bool> Insert(ObjectModel* model, bool generatedKey);
    /// Stores a row of column/value pairs.
    QFuture<bool> Insert(QString table, QList<FieldPair> values, QString key, bool generatedKey);
    /// Stores records in one transaction.
    QFuture<bool> InsertList(QList<ObjectModel*> models, bool generatedKey, bool continueOnError);
    /// Writes a record back, by its key.
    QFuture<bool> Update(ObjectModel* model);
    /// Updates the row whose key is among values.
    QFuture<bool> Update(QString table, QString key, QList<FieldPair> values);
    /// Writes records back in one transaction.
    QFuture<bool> UpdateList(QList<ObjectModel*> models, bool continueOnError);
    /// Deletes the rows whose column holds value.
    QFuture<bool> Delete(QString column, QVariant value, QString table);
    /// The same in the record's table.
    QFuture<bool> Delete(QString column, QVariant value, ObjectModel* model);
    /// Deletes every row of a table.
    QFuture<bool> DeleteAll(QString table);
    /// Deletes records by key in one transaction.
    QFuture<bool> DeleteList(QList<ObjectModel*> models, bool continueOnError);
    /// Deletes the rows whose column holds one of values, in one transaction.
    QFuture<bool> DeleteList(QString column, QList<QVariant> values, QString table, bool continueOnError);
    /// Runs DELETE statements in one transaction.
    QFuture<bool> DeleteList(QStringList sqls, bool continueOnError);

    /// Table names, cached.
    QFuture<QStringList> GetTableNames();
    /// Column names of a table, cached.
    QFuture<QStringList> GetColumnNames(QString tableName);
    /// The table's name as the database spells it.
    QFuture<QString> GetTableName(QString name);
    /// The class name the record-class generator gives a table.
    QFuture<QString> GetModelTableName(QString name);
    /// Forgets the cached table names.
    QFuture<void> CleanTable();
    /// Forgets the cached column names.
    QFuture<void> CleanColumn();
    /// Closes and removes the handle's connections.
    QFuture<void> Close();

    /// What the last failed call logged, in memory; empty before any failure.
    LastError lastError() const;

    /// Calls f(result) (f() for QFuture<void>) in context's thread when future
    /// finishes; drops the result if context is destroyed first or the future
    /// was cancelled. That thread must run an event loop.
    template <class T, class F>
    static void onResult(const QFuture<T>& future, QObject* context, F f)
    {
        if (!context)
            return;
        // Made and set up in this thread, then handed to context's thread
        // with its pending notifications: a watcher is only used in its own thread.
        auto* watcher = new QFutureWatcher<T>();
        QObject::connect(watcher, &QFutureWatcherBase::finished, context, [watcher, f]() mutable {
            watcher->deleteLater();
            if (watcher->future().isCanceled())
                return;
            if constexpr (std::is_void_v<T>)
                f();
            else
                f(watcher->future().result());
        });
        // Dropped with the receiver: the watcher goes when context does.
        QObject::connect(context, &QObject::destroyed, watcher, &QObject::deleteLater);
        watcher->setFuture(future);
        if (context->thread() != watcher->thread())
            watcher->moveToThread(context->thread());
    }

private:
    class Private;
    friend class RecordTableModel;
    const std::unique_ptr<Private> d;
};

} // namespace Tessark

#endif // TESSARK_ASYNC_ASYNCHANDLE_H
