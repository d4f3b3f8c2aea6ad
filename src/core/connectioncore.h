#ifndef TESSARK_CORE_CONNECTIONCORE_H
#define TESSARK_CORE_CONNECTIONCORE_H

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "brelvan_global.h"
#include "Model/types.h"

class QMutex;
class QSqlDatabase;
class QSqlError;

namespace Tessark {

// What tells one backend's connection from another's.
struct ConnectionTraits
{
    const char* driver;        // Qt driver key
    const char* displayName;   // the database's name in log messages
    DbType type;               // carried by OpenEvent
    const char* initialName;   // connection name before InitInfo
    // Logged instead of the execution message when the id-collecting batch
    // cannot begin its transaction; null: the execution message.
    const char* idBatchBeginFailure;
    // A failed COMMIT has already ended the transaction (no ROLLBACK to send).
    bool failedCommitEndsTransaction;
    // Whether an error means the session is gone (server restart, killed
    // session); null: never. Such a connection is reopened on the next call.
    bool (*connectionLost)(const QSqlError& error);
};

// One named connection and the execute / batch / query algorithms, written
// once for every backend. Backends supply their traits and a few hooks.
class BRELVANSHARED_EXPORT ConnectionCore : public QObject
{
    Q_OBJECT
public:
    ~ConnectionCore() override;

    bool InitConnect();
    QString GetSign() const { return m_sign; }

    bool Execution(QString sql);
    bool ExecutionList(QStringList sqls, bool continueOnError);
    bool Insert(QString sql) { return Execution(sql); }
    bool Update(QString sql) { return Execution(sql); }
    bool Delete(QString sql) { return Execution(sql); }
    bool UpdateList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }
    bool DeleteList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }

    RowList Query(QString sql);
    Row QueryFirst(QString sql);
    int QueryRow(QString sql);

    void Close();

    // The registered name of this object's connection (as the first thread uses it).
    QString connectionName() const { return m_connectionName; }
    const ConnectionTraits& traits() const { return m_traits; }

signals:
    void OpenEvent(bool succeed, short dbType);

protected:
    friend class PersistenceCore; // runs the id-collecting batch

    explicit ConnectionCore(const ConnectionTraits& traits);

    void setIdentity(const QString& connectionName, const QString& sign);

    // The id-collecting batch; the backends that have it make it public.
    bool ExecutionList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                       bool continueOnError)
    {
        return runBatch(sqls, &idQueries, &ids, continueOnError);
    }
    bool InsertList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                    bool continueOnError)
    {
        return runBatch(sqls, &idQueries, &ids, continueOnError);
    }

    // The batch behind both ExecutionList forms; ids and idQueries are null in the plain form.
    bool runBatch(const QStringList& sqls, const QList<FieldPair>* idQueries,
                  QList<QVariant>* ids, bool continueOnError);

    // False (after logging) when the database cannot be reached at all.
    virtual bool checkTarget() { return true; }
    // Sets driver options (database name, host, ...) on a newly added connection.
    virtual void configure(QSqlDatabase& db) const = 0;
    // The mutex that serialises work on this database; null for none.
    virtual QMutex* workMutex() const { return nullptr; }
    // Runs once on every newly opened session, before its first statement.
    virtual void sessionOpened(QSqlDatabase& db) { Q_UNUSED(db); }

    void log(const QString& message) const;

private:
    enum class Step { Connect, Open, Execute, Query, QueryFirst, QueryRow };
    QString message(Step step) const;

    bool prepare(bool emptyInput, QSqlDatabase& db);
    bool open(QSqlDatabase& db);
    void report(Step step, const QSqlError& statementError, const QSqlDatabase& db) const;
    void noteIfLost(const QSqlError& error, const QSqlDatabase& db) const;
    bool begin(QSqlDatabase& db, bool idBatch);
    void failedCommit(QSqlDatabase& db);
    void rollback(QSqlDatabase& db);
    Row firstRow(QSqlDatabase& db, const QString& sql, Step step);

    const ConnectionTraits& m_traits;
    QString m_connectionName;
    QString m_sign;
};

} // namespace Tessark

#endif // TESSARK_CORE_CONNECTIONCORE_H
