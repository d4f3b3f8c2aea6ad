#include "core/tracing.h"
#include "core/trace_p.h"

#include <QCoreApplication>
#include <QSqlQuery>
#include <QThread>

#include <atomic>

namespace Tessark {

// Debug and warning respectively are off by default, like Qt's own qt.sql.* categories.
Q_LOGGING_CATEGORY(lcSql, "tessark.sql", QtInfoMsg)
Q_LOGGING_CATEGORY(lcSqlSlow, "tessark.sql.slow", QtCriticalMsg)

namespace {

constexpr int defaultSlowMs = 100;
std::atomic<int> slowMs{-1}; // -1: not read from the environment yet

int startingThreshold()
{
    bool ok = false;
    const int fromEnvironment = qEnvironmentVariableIntValue("TESSARK_SLOW_MS", &ok);
    return ok && fromEnvironment >= 0 ? fromEnvironment : defaultSlowMs;
}

QString threadName()
{
    QThread* thread = QThread::currentThread();
    if (!thread->objectName().isEmpty())
        return thread->objectName();
    if (QCoreApplication::instance() && thread == QCoreApplication::instance()->thread())
        return QStringLiteral("main");
    return QStringLiteral("0x") + QString::number(quintptr(QThread::currentThreadId()), 16);
}

} // namespace

void setSlowStatementThreshold(int milliseconds)
{
    slowMs.store(milliseconds < 0 ? startingThreshold() : milliseconds);
}

int slowStatementThreshold()
{
    int ms = slowMs.load(std::memory_order_relaxed);
    if (ms < 0) {
        ms = startingThreshold();
        slowMs.store(ms);
    }
    return ms;
}

void StatementTrace::reportAffected(const QString& sign, const QString& sql, const QSqlQuery& query, bool ok) const
{
    report(sign, sql, ok, ok ? query.numRowsAffected() : -1, true);
}

void StatementTrace::report(const QString& sign, const QString& sql, bool ok, int rows, bool affected) const
{
    const qint64 nanoseconds = m_timer.nsecsElapsed();
    const double ms = double(nanoseconds) / 1e6;
    QString outcome;
    if (!ok)
        outcome = QStringLiteral("failed");
    else if (rows < 0)
        outcome = QStringLiteral("rows unknown");
    else
        outcome = QStringLiteral("%1 %2 %3")
                      .arg(rows)
                      .arg(rows == 1 ? QLatin1String("row") : QLatin1String("rows"))
                      .arg(affected ? QLatin1String("affected") : QLatin1String("returned"));
    // The sign carries a password digest only, never the password.
    qCDebug(lcSql).noquote() << QStringLiteral("[%1] thread %2, %3 ms, %4: %5")
                                    .arg(sign, threadName(), QString::number(ms, 'f', 3), outcome, sql);
    const int threshold = slowStatementThreshold();
    if (nanoseconds >= qint64(threshold) * 1000000)
        qCWarning(lcSqlSlow).noquote() << QStringLiteral("[%1] slow statement, %2 ms (threshold %3 ms), thread %4: %5")
                                              .arg(sign, QString::number(ms, 'f', 3), QString::number(threshold),
                                                   threadName(), sql);
}

} // namespace Tessark
