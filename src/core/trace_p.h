#ifndef TESSARK_CORE_TRACE_P_H
#define TESSARK_CORE_TRACE_P_H

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QString>

class QSqlQuery;

namespace Tessark {

Q_DECLARE_LOGGING_CATEGORY(lcSql)
Q_DECLARE_LOGGING_CATEGORY(lcSqlSlow)

// Times one statement when either category is on. When both are off it costs
// two flag reads: no clock, no text.
class StatementTrace
{
public:
    StatementTrace() : m_on(lcSql().isDebugEnabled() || lcSqlSlow().isWarningEnabled())
    {
        if (m_on)
            m_timer.start();
    }

    // A statement that changes rows: reports what the query says it affected.
    void executed(const QString& sign, const QString& sql, const QSqlQuery& query, bool ok) const
    {
        if (m_on)
            reportAffected(sign, sql, query, ok);
    }
    // A statement whose rows were read: rows is how many.
    void returned(const QString& sign, const QString& sql, int rows, bool ok) const
    {
        if (m_on)
            report(sign, sql, ok, rows, false);
    }

private:
    void reportAffected(const QString& sign, const QString& sql, const QSqlQuery& query, bool ok) const;
    void report(const QString& sign, const QString& sql, bool ok, int rows, bool affected) const;

    const bool m_on;
    QElapsedTimer m_timer;
};

} // namespace Tessark

#endif // TESSARK_CORE_TRACE_P_H
