#ifndef TESSARK_BENCH_REPORT_H
#define TESSARK_BENCH_REPORT_H

#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QVector>

#include <functional>
#include <vector>

#include "bench.h"

namespace Bench {

struct ScenarioInfo
{
    Scenario id;
    const char* key;
    bool needsDb;
};

const std::vector<ScenarioInfo>& allScenarios();
QString scenarioKey(Scenario scenario);

struct Options
{
    bool quick = false;
    int reps = 7;
    QStringList backends;   // empty: all
    QStringList scenarios;
    QStringList contenders;

    bool wantsBackend(const QString& key) const { return backends.isEmpty() || backends.contains(key); }
    bool wantsScenario(const QString& key) const { return scenarios.isEmpty() || scenarios.contains(key); }
    bool wantsContender(const QString& key) const { return contenders.isEmpty() || contenders.contains(key); }
};

struct Timing
{
    QString contender;
    double median = 0; // ms
    QVector<double> samples;
};

struct ScenarioResult
{
    QString key;
    QString title;
    int size = 0;
    int reps = 0;
    QVector<Timing> times;

    // Median ms of a contender; negative when it did not take part.
    double of(const QString& contender) const;
    // Library / contender: the median of the ratios of each repetition's
    // runs, which cancels drift in the machine's load between repetitions.
    double ratio(const QString& contender) const;
};

// The "async" scenario on one database (ms; negative: not reached).
struct AsyncFigures
{
    bool ran = false;
    int seconds = 0;        // the long statement's length
    int rowsRead = 0;       // the large read's rows
    double statementMs = 0; // call to result in the main thread
    double loadMs = 0;
    double maxGapMs = 0;    // largest gap between the main thread's 16 ms timer ticks
    int ticks = 0;
    double cancelFinishedMs = -1; // cancel() to the future finished
    double cancelGoneMs = -1;     // cancel() to the statement gone from the server
};

// Both at once through two AsyncHandles, with a 16 ms timer on this thread;
// then a long statement cancelled. runningOnServer counts it among the
// server's running statements (empty for a file database).
AsyncFigures runAsync(const Target& target, const QString& table, int seconds, const std::function<int()>& runningOnServer);

struct BackendResult
{
    QString backend;
    QString displayName;
    QString version;
    bool connected = false;
    QVector<ScenarioResult> scenarios;
    AsyncFigures async;
};

struct Report
{
    Options options;
    QString machine;
    QString sqliteFolder;
    QVector<BackendResult> backends;
};

double median(QVector<double> values);
QString describeMachine();

bool timedRun(Contender& c, Scenario s, Workload& w, double* ms);

void printBackend(QTextStream& out, const BackendResult& result, const Options& options);
void printTargets(QTextStream& out, const Report& report);
// One line per scenario: "BENCH " and a JSON object.
void printMachineLines(QTextStream& out, const Report& report);
// Replaces the part of the file between the results markers (appends it when absent).
bool writeDoc(const QString& path, const Report& report);

} // namespace Bench

#endif // TESSARK_BENCH_REPORT_H
