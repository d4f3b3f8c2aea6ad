#include "report.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSysInfo>
#include <QThread>

#include <libpq-fe.h>
#include <soci/version.h>
#include <sqlite3.h>

#include <algorithm>

namespace Bench {

const std::vector<ScenarioInfo>& allScenarios()
{
    static const std::vector<ScenarioInfo> list = {
        {Scenario::Insert, "insert", true},
        {Scenario::InsertList, "insert_list", true},
        {Scenario::Import, "insert_list_100k", true},
        {Scenario::Update, "update", true},
        {Scenario::UpdateList, "update_list", true},
        {Scenario::Query, "query", true},
        {Scenario::Page, "page", true},
        {Scenario::Build, "build", false},
    };
    return list;
}

QString scenarioKey(Scenario scenario)
{
    for (const ScenarioInfo& info : allScenarios()) {
        if (info.id == scenario)
            return QLatin1String(info.key);
    }
    return QString();
}

double ScenarioResult::of(const QString& contender) const
{
    for (const Timing& t : times) {
        if (t.contender == contender)
            return t.median;
    }
    return -1;
}

double ScenarioResult::ratio(const QString& contender) const
{
    const Timing* library = nullptr;
    const Timing* reference = nullptr;
    for (const Timing& t : times) {
        if (t.contender == QLatin1String("library"))
            library = &t;
        if (t.contender == contender)
            reference = &t;
    }
    if (!library || !reference || library->samples.size() != reference->samples.size())
        return -1;
    QVector<double> ratios;
    for (int i = 0; i < library->samples.size(); ++i)
        ratios.append(library->samples[i] / reference->samples[i]);
    return median(ratios);
}

double median(QVector<double> values)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const int n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

namespace {

const char* const references[] = {"qt_text", "qt_prepared", "c_api", "soci"};

// The references that took part in some scenario of b, in the order above.
QStringList referencesOf(const BackendResult& b)
{
    QStringList present;
    for (const char* ref : references) {
        for (const ScenarioResult& s : b.scenarios) {
            if (s.of(QLatin1String(ref)) >= 0) {
                present.append(QLatin1String(ref));
                break;
            }
        }
    }
    return present;
}

QString referenceTitle(const QString& reference, const QString& backend)
{
    if (reference == QLatin1String("qt_text"))
        return QStringLiteral("Qt, same text");
    if (reference == QLatin1String("qt_prepared"))
        return QStringLiteral("Qt, prepared");
    if (reference == QLatin1String("c_api"))
        return backend == QLatin1String("sqlite") ? QStringLiteral("sqlite3 C API")
               : backend == QLatin1String("postgresql") ? QStringLiteral("libpq")
                                                        : QStringLiteral("C API");
    return QStringLiteral("SOCI");
}

QString ms(double value)
{
    return QString::number(value, 'f', value < 10 ? 2 : 1);
}

QString ratioText(double ratio)
{
    return QString::number(ratio, 'f', 2);
}

QString readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

struct TargetCheck
{
    QString backend;
    QString scenario;
    QString reference;
    double ratio = 0;
    double limit = 0;
    bool met() const { return ratio <= limit; }
    QString describe;
};

QVector<TargetCheck> checkTargets(const Report& report)
{
    QVector<TargetCheck> checks;
    for (const BackendResult& b : report.backends) {
        for (const ScenarioResult& s : b.scenarios) {
            const double lib = s.of(QStringLiteral("library"));
            if (lib < 0)
                continue;
            const auto add = [&](const char* reference, double limit, const QString& describe) {
                const double r = s.ratio(QLatin1String(reference));
                if (r > 0)
                    checks.append({b.backend, s.key, QLatin1String(reference), r, limit, describe});
            };
            if (s.key != QLatin1String("build")) {
                const bool single = s.key == QLatin1String("insert");
                add("qt_text", single ? 1.20 : 1.15, QStringLiteral("overhead over raw Qt on the same texts"));
            }
            if (s.key == QLatin1String("query") && b.backend == QLatin1String("sqlite"))
                add("c_api", 2.0, QStringLiteral("at least half the speed of the sqlite3 C API"));
            // Against SOCI's prepared statements and bulk binding: sqlite, postgresql, mysql.
            struct SociLimit { const char* scenario; double limits[3]; };
            static const SociLimit sociLimits[] = {
                {"insert_list", {1.0, 0.5, 0.5}},
                {"update_list", {1.2, 1.0, 1.0}},
                {"insert", {1.2, 1.2, 1.5}},
                {"update", {1.2, 1.2, 1.2}},
            };
            const int column = b.backend == QLatin1String("sqlite") ? 0 : b.backend == QLatin1String("postgresql") ? 1 : 2;
            for (const SociLimit& limit : sociLimits) {
                if (s.key == QLatin1String(limit.scenario))
                    add("soci", limit.limits[column], QStringLiteral("Tessark / SOCI"));
            }
        }
    }
    return checks;
}

} // namespace

QString describeMachine()
{
    QStringList lines;
    const QString cpuinfo = readFile(QStringLiteral("/proc/cpuinfo"));
    const QRegularExpression model(QStringLiteral("model name\\s*:\\s*(.*)"));
    const QString cpu = model.match(cpuinfo).captured(1).trimmed();
    lines << QStringLiteral("CPU: %1, %2 logical cores").arg(cpu.isEmpty() ? QStringLiteral("unknown") : cpu)
                 .arg(QThread::idealThreadCount());
    const QRegularExpression memory(QStringLiteral("MemTotal:\\s*(\\d+) kB"));
    const qint64 kb = memory.match(readFile(QStringLiteral("/proc/meminfo"))).captured(1).toLongLong();
    if (kb > 0)
        lines << QStringLiteral("Memory: %1 GiB").arg(double(kb) / (1024 * 1024), 0, 'f', 1);
    lines << QStringLiteral("System: %1, kernel %2").arg(QSysInfo::prettyProductName(), QSysInfo::kernelVersion());
    lines << QStringLiteral("Qt %1, %2, compiler %3").arg(QLatin1String(qVersion()),
#ifdef NDEBUG
        QStringLiteral("optimised build"),
#else
        QStringLiteral("debug build"),
#endif
        QLatin1String(__VERSION__));
    lines << QStringLiteral("Client libraries: sqlite3 %1, libpq %2, SOCI %3")
                 .arg(QLatin1String(sqlite3_libversion()))
                 .arg(QStringLiteral("%1.%2").arg(PQlibVersion() / 10000).arg(PQlibVersion() % 10000))
                 .arg(QString::fromLatin1(SOCI_LIB_VERSION).replace(QLatin1Char('_'), QLatin1Char('.')));
    return lines.join(QLatin1Char('\n'));
}

namespace {

void printAsync(QTextStream& out, const AsyncFigures& a)
{
    if (!a.ran)
        return;
    out << QStringLiteral("async: a %1 s statement (result after %2 ms) and a read of %3 rows (%4 ms) through "
                          "AsyncHandle; the main thread's 16 ms timer ticked %5 times, largest gap %6 ms\n")
               .arg(a.seconds)
               .arg(ms(a.statementMs))
               .arg(a.rowsRead)
               .arg(ms(a.loadMs))
               .arg(a.ticks)
               .arg(ms(a.maxGapMs));
    out << QStringLiteral("async: cancel of a running statement: future finished after %1 ms, statement gone "
                          "from the database after %2 ms\n")
               .arg(ms(a.cancelFinishedMs), ms(a.cancelGoneMs));
}

} // namespace

void printBackend(QTextStream& out, const BackendResult& result, const Options& options)
{
    out << '\n' << result.displayName;
    if (!result.version.isEmpty())
        out << " (" << result.version << ')';
    if (!result.connected)
        out << ": no server, statement building only";
    if (result.scenarios.isEmpty()) {
        out << '\n';
        printAsync(out, result.async);
        return;
    }
    out << " -- median ms of " << options.reps << (options.reps == 1 ? " run" : " runs")
        << "; (x) = median over repetitions of Tessark / reference, lower is better\n";
    const int titleWidth = 40;
    const QStringList refs = referencesOf(result);
    out << QStringLiteral("%1%2").arg(QStringLiteral("scenario"), -titleWidth).arg(QStringLiteral("Tessark"), 10);
    for (const QString& ref : refs)
        out << QStringLiteral("%1").arg(referenceTitle(ref, result.backend), 22);
    out << '\n';
    bool built = false;
    for (const ScenarioResult& s : result.scenarios) {
        const double lib = s.of(QStringLiteral("library"));
        out << QStringLiteral("%1%2").arg(s.title, -titleWidth).arg(lib < 0 ? QStringLiteral("-") : ms(lib), 10);
        for (const QString& ref : refs) {
            const double r = s.of(ref);
            QString cell = QStringLiteral("-");
            if (r > 0)
                cell = lib < 0 ? ms(r) : QStringLiteral("%1 (%2)").arg(ms(r), ratioText(s.ratio(ref)));
            out << QStringLiteral("%1").arg(cell, 22);
        }
        out << '\n';
        built = built || s.key == QLatin1String("build");
    }
    if (built)
        out << "GetInsertSql: the Qt column is the identical text built by hand with QString.\n";
    printAsync(out, result.async);
}

void printTargets(QTextStream& out, const Report& report)
{
    const QVector<TargetCheck> checks = checkTargets(report);
    if (checks.isEmpty())
        return;
    out << "\nTargets (median over repetitions of Tessark / reference):\n";
    for (const TargetCheck& c : checks) {
        out << QStringLiteral("  %1 %2 %3 vs %4: %5 (limit %6, %7)\n")
                   .arg(c.met() ? QStringLiteral("met   ") : QStringLiteral("MISSED"), c.backend, c.scenario,
                        c.reference, QString::number(c.ratio, 'f', 2), QString::number(c.limit, 'f', 2),
                        c.describe);
    }
}

void printMachineLines(QTextStream& out, const Report& report)
{
    out << '\n';
    for (const BackendResult& b : report.backends) {
        for (const ScenarioResult& s : b.scenarios) {
            QJsonObject line;
            line.insert(QStringLiteral("backend"), b.backend);
            line.insert(QStringLiteral("scenario"), s.key);
            line.insert(QStringLiteral("size"), s.size);
            line.insert(QStringLiteral("reps"), s.reps);
            const double lib = s.of(QStringLiteral("library"));
            for (const Timing& t : s.times) {
                line.insert(t.contender + QStringLiteral("_ms"), t.median);
                if (t.contender != QLatin1String("library") && lib >= 0)
                    line.insert(t.contender + QStringLiteral("_ratio"), s.ratio(t.contender));
            }
            out << "BENCH " << QJsonDocument(line).toJson(QJsonDocument::Compact) << '\n';
        }
        if (b.async.ran) {
            const AsyncFigures& a = b.async;
            const QJsonObject line{{QStringLiteral("backend"), b.backend},
                                   {QStringLiteral("scenario"), QStringLiteral("async")},
                                   {QStringLiteral("statement_s"), a.seconds},
                                   {QStringLiteral("rows"), a.rowsRead},
                                   {QStringLiteral("statement_ms"), a.statementMs},
                                   {QStringLiteral("load_ms"), a.loadMs},
                                   {QStringLiteral("max_timer_gap_ms"), a.maxGapMs},
                                   {QStringLiteral("ticks"), a.ticks},
                                   {QStringLiteral("cancel_finished_ms"), a.cancelFinishedMs},
                                   {QStringLiteral("cancel_gone_ms"), a.cancelGoneMs}};
            out << "BENCH " << QJsonDocument(line).toJson(QJsonDocument::Compact) << '\n';
        }
    }
}

bool writeDoc(const QString& path, const Report& report)
{
    const QString begin = QStringLiteral("<!-- bench-results:begin -->");
    const QString end = QStringLiteral("<!-- bench-results:end -->");
    QString section;
    QTextStream md(&section);
    md << begin << "\n\n";
    md << "Run of " << QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd HH:mm")) << " UTC, "
       << report.options.reps << (report.options.reps == 1 ? " repetition" : " repetitions")
       << " per contender, medians in ms; (x) = the median of each repetition's Tessark / reference, lower is better.\n\n";
    for (const QString& line : report.machine.split(QLatin1Char('\n')))
        md << "- " << line << '\n';
    for (const BackendResult& b : report.backends) {
        md << "\n### " << b.displayName;
        if (!b.version.isEmpty())
            md << " (" << b.version << ')';
        const QStringList refs = referencesOf(b);
        md << "\n\n| scenario | Tessark |";
        for (const QString& ref : refs)
            md << ' ' << referenceTitle(ref, b.backend) << " |";
        const bool soci = refs.contains(QStringLiteral("soci"));
        if (soci)
            md << " Tessark / SOCI |";
        md << "\n|---|---:|";
        for (int i = 0; i < refs.size() + (soci ? 1 : 0); ++i)
            md << "---:|";
        md << '\n';
        for (const ScenarioResult& s : b.scenarios) {
            const double lib = s.of(QStringLiteral("library"));
            md << "| " << s.title << " | " << (lib < 0 ? QStringLiteral("-") : ms(lib)) << " |";
            for (const QString& ref : refs) {
                const double r = s.of(ref);
                if (r <= 0)
                    md << " - |";
                else if (lib < 0)
                    md << ' ' << ms(r) << " |";
                else
                    md << ' ' << ms(r) << " (" << ratioText(s.ratio(ref)) << ") |";
            }
            if (soci) {
                const double r = s.ratio(QStringLiteral("soci"));
                md << ' ' << (r > 0 ? ratioText(r) : QStringLiteral("-")) << " |";
            }
            md << '\n';
        }
    }
    const QVector<TargetCheck> checks = checkTargets(report);
    if (!checks.isEmpty()) {
        md << "\nTargets:\n\n| database | scenario | against | ratio | limit | |\n|---|---|---|---:|---:|---|\n";
        for (const TargetCheck& c : checks) {
            md << "| " << c.backend << " | " << c.scenario << " | " << c.reference << " | "
               << QString::number(c.ratio, 'f', 2) << " | " << QString::number(c.limit, 'f', 2) << " | "
               << (c.met() ? "met" : "**missed**") << " |\n";
        }
    }
    md << '\n' << end;
    md.flush();

    QString text = readFile(path);
    const int from = text.indexOf(begin);
    const int to = text.indexOf(end);
    if (from >= 0 && to > from)
        text.replace(from, to + end.size() - from, section);
    else
        text += (text.isEmpty() || text.endsWith(QLatin1Char('\n')) ? QString() : QStringLiteral("\n")) + section
                + QLatin1Char('\n');
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write(text.toUtf8());
    return f.commit();
}

} // namespace Bench
