#ifndef TESSARK_CORE_CONNECTIONCORE_H
#define TESSARK_CORE_CONNECTIONCORE_H

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <QMutex>

#include <functional>

#include "brelvan_global.h"
#include "Model/conninfomodel.h"
#include "Model/types.h"
#include "core/lasterror.h"

class QSqlDatabase;
class QSqlError;

namespace Tessark {

struct BackendRules;
struct BoundStatement;
class ListStatements;
struct ConnectionRules;

/// One named connection and the execute / batch / query algorithms, written
/// once for every backend from its rules table. The public connection classes
/// only add their InitInfo forms.
class BRELVANSHARED_EXPORT ConnectionCore : public QObject
{
    Q_OBJECT
public:
    ~ConnectionCore() override;

    /// Opens this thread's connection; false and a log entry on failure.
    bool InitConnect();
    /// The sign: file name, or host|port|user|password digest|database.
    QString GetSign() const { return m_sign; }

    /// Runs a statement in a transaction of its own.
    bool Execution(QString sql);
    /// Runs statements in one transaction; see docs/guide.md, "Lists".
    bool ExecutionList(QStringList sqls, bool continueOnError);
    /// Execution() under another name.
    bool Insert(QString sql) { return Execution(sql); }
    /// Execution() under another name.
    bool Update(QString sql) { return Execution(sql); }
    /// Execution() under another name.
    bool Delete(QString sql) { return Execution(sql); }
    /// ExecutionList() under another name.
    bool UpdateList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }
    /// ExecutionList() under another name.
    bool DeleteList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }

    /// The rows of a query; empty on failure.
    RowList Query(QString sql);
    /// The same, also giving the result's column names in their order.
    RowList Query(const QString& sql, QStringList* columns);
    /// The first row of a query; empty when none or on failure.
    Row QueryFirst(QString sql);
    /// The first column of the first row as a number; 0 on failure.
    int QueryRow(QString sql);

    /// Closes and removes this object's connections in every thread.
    void Close();

    /// Sets what to connect to: the file path in DatabaseName for a file
    /// database, the server fields otherwise; Type is not read.
    void describe(const ConnInfoModel& info);
    /// What describe() was given.
    const ConnInfoModel& description() const { return m_info; }
    /// The database name the driver is given; some servers take their address inside it.
    QString driverDatabaseName() const;

    /// The registered name of this object's connection (as the first thread uses it).
    QString connectionName() const { return m_connectionName; }
    /// The database's rules table.
    const BackendRules& rules() const { return m_rules; }

    /// The last failure, in memory.
    LastError lastError() const;
    /// Logs message followed by reason and keeps both as the last error.
    void fail(const QString& message, const QString& reason) const;

signals:
    /// Emitted on every open attempt: whether it succeeded, and the database kind.
    void OpenEvent(bool succeed, short dbType);

protected:
    friend class Persistence; ///< runs the id-collecting batch

    /// A connection for the database the rules describe.
    explicit ConnectionCore(const BackendRules& rules);

    /// The id-collecting batch; the backends that have it make it public.
    bool ExecutionList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                       bool continueOnError)
    {
        return runBatch(sqls, &idQueries, &ids, continueOnError);
    }
    /// ExecutionList() that also reads back each statement's new id.
    bool InsertList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                    bool continueOnError)
    {
        return runBatch(sqls, &idQueries, &ids, continueOnError);
    }

    /// The batch behind both ExecutionList forms; ids and idQueries are null in the plain form.
    bool runBatch(const QStringList& sqls, const QList<FieldPair>* idQueries,
                  QList<QVariant>* ids, bool continueOnError);

    // Record writes with their values bound, where the rules bind them. Any
    // failure undoes what the bound form did and runs the text instead, so the
    // outcome, log entries included, is the text's.
    /// Whether single record writes go with bound values on this database.
    bool binds() const;
    /// Whether key-less lists go as multi-row INSERTs on this database.
    bool joinsRows() const;
    /// Execution of one statement.
    bool executeBound(const BoundStatement& bound, const std::function<QString()>& text);
    /// Execution of one record write's text; alone, without BEGIN and COMMIT,
    /// where the session commits each statement by itself. Only for a table
    /// whose failed statements leave nothing behind: a failure runs the text
    /// again in a transaction. generatedId, if given: the key the statement
    /// generated as the client read it from the reply (invalid where it did not).
    bool executeAlone(const QString& sql, QVariant* generatedId);
    /// QueryFirst of one statement (an INSERT returning its key, a key query).
    Row queryFirstBound(const BoundStatement& bound, const std::function<QString()>& text);
    /// The plain batch, one statement per record.
    bool executeBoundList(const QVector<BoundStatement>& list, const std::function<QStringList()>& texts,
                          bool continueOnError);
    /// A batch of INSERTs that reads no key: runs of one shape go as multi-row
    /// INSERTs where the rules say so. With ids, the id-collecting batch
    /// without key queries (a 0 per record).
    bool insertRows(const QVector<BoundStatement>& rows, const std::function<QStringList()>& texts,
                    QList<QVariant>* ids, bool continueOnError);

private:
    enum class Step { Connect, Open, Execute, Query, QueryFirst, QueryRow };
    QString message(Step step) const;

    bool checkTarget();
    void configure(QSqlDatabase& db) const;
    QMutex* workMutex() const { return m_fileMutex; }

    bool prepare(bool emptyInput, QSqlDatabase& db);
    bool executeIn(QSqlDatabase& db, const QString& sql);
    bool batchIn(QSqlDatabase& db, const QStringList& sqls, const QList<FieldPair>* idQueries,
                 QList<QVariant>* ids, bool continueOnError);
    bool commitsAlone(QSqlDatabase& db) const;
    bool runBound(QSqlDatabase& db, const BoundStatement& bound, Row* first, ListStatements* own = nullptr);
    ListStatements* listStatements(QSqlDatabase& db) const;
    QString sessionStatement(QSqlDatabase& db, const BoundStatement& bound);
    int chunkBytes(QSqlDatabase& db);
    bool open(QSqlDatabase& db);
    void report(Step step, const QSqlError& statementError, const QSqlDatabase& db) const;
    void noteIfLost(const QSqlError& error, const QSqlDatabase& db) const;
    bool begin(QSqlDatabase& db, bool idBatch);
    void failedCommit(QSqlDatabase& db);
    void rollback(QSqlDatabase& db);
    Row firstRow(QSqlDatabase& db, const QString& sql, Step step);

    const BackendRules& m_rules;
    const ConnectionRules& m_connection;
    ConnInfoModel m_info{0, QString(), QString()};
    QMutex* m_fileMutex = nullptr;
    QString m_connectionName;
    QString m_sign;
    mutable QMutex m_errorLock;
    mutable LastError m_lastError;
};

} // namespace Tessark

#endif // TESSARK_CORE_CONNECTIONCORE_H
