// tessark-bench: what the library's records cost over hand-written Qt SQL,
// and how far it is from the database's own C API and from SOCI.
//
//   tessark-bench [--quick] [--reps N] [--backends LIST] [--scenarios LIST]
//                 [--contenders LIST] [--dir DIR] [--doc FILE]
//
// SQLite always runs (a file in a temporary folder); PostgreSQL and MariaDB run
// when TESSARK_TEST_PG / TESSARK_TEST_MYSQL name a server (scripts/servers.sh
// starts throwaway ones). Each scenario runs the library and every reference
// in turn, rotating the order per repetition, and reports medians and the
// ratio library / reference.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "bench.h"
#include "core/dialect.h"
#include "core/rules.h"
#include "report.h"
#include "tool/tessarktool.h"

namespace Bench {

QString Target::key() const
{
    switch (db) {
    case Db::SQLite:
        return QStringLiteral("sqlite");
    case Db::PostgreSQL:
        return QStringLiteral("postgresql");
    case Db::MySQL:
        return QStringLiteral("mysql");
    case Db::Oracle: // no server to run against here
        break;
    }
    return QString();
}

QString Target::displayName() const
{
    switch (db) {
    case Db::SQLite:
        return QStringLiteral("SQLite");
    case Db::PostgreSQL:
        return QStringLiteral("PostgreSQL");
    case Db::MySQL:
        return QStringLiteral("MariaDB");
    case Db::Oracle:
        break;
    }
    return QString();
}

QString Target::qtDriver() const
{
    return QLatin1String(Tessark::rulesFor(type())->connection.driver);
}

ConnInfoModel Target::info() const
{
    if (db == Db::SQLite)
        return ConnInfoModel(type(), file, QStringLiteral("bench"));
    return ConnInfoModel(type(), host, port, user, password, dbname, QStringLiteral("bench"));
}

QSqlDatabase Target::addQtConnection(const QString& name) const
{
    QSqlDatabase db = QSqlDatabase::addDatabase(qtDriver(), name);
    if (this->db == Db::SQLite) {
        db.setDatabaseName(file);
    } else {
        db.setHostName(host);
        db.setPort(port);
        db.setUserName(user);
        db.setPassword(password);
        db.setDatabaseName(dbname);
    }
    return db;
}

void Workload::listRecords()
{
    records.clear();
    records.reserve(count);
    for (int i = 0; i < count; ++i)
        records.append(people[size_t(i)].get());
}

QString bornText(const QDateTime& born)
{
    return born.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
}

namespace {

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

[[noreturn]] void die(const QString& message)
{
    out().flush();
    std::fprintf(stderr, "tessark-bench: %s\n", qPrintable(message));
    std::exit(1);
}

struct Sizes
{
    int insert = 1000;
    int insertList = 10000;
    int import = 100000;
    int update = 1000;
    int updateList = 10000;
    int readRows = 100000;
    int pageOffset = 90000;
    int pageSize = 100;
    int pageLoops = 20;
    int build = 10000;

    static Sizes quick()
    {
        Sizes s;
        s.insert = 20;
        s.insertList = 200;
        s.import = 400;
        s.update = 20;
        s.updateList = 200;
        s.readRows = 1000;
        s.pageOffset = 900;
        s.pageSize = 10;
        s.pageLoops = 3;
        s.build = 200;
        return s;
    }
};

// "host=h port=n user=u password= dbname=d"
bool parseServer(const QString& text, Target& target)
{
    for (const QString& part : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const int eq = part.indexOf(QLatin1Char('='));
        if (eq < 0)
            return false;
        const QString key = part.left(eq);
        const QString value = part.mid(eq + 1);
        if (key == QLatin1String("host"))
            target.host = value;
        else if (key == QLatin1String("port"))
            target.port = value.toInt();
        else if (key == QLatin1String("user"))
            target.user = value;
        else if (key == QLatin1String("password"))
            target.password = value;
        else if (key == QLatin1String("dbname"))
            target.dbname = value;
    }
    return !target.host.isEmpty() && target.port > 0 && !target.dbname.isEmpty();
}

// The set-up connection: creates, fills and checks tables, never timed.
class Setup
{
public:
    explicit Setup(const Target& target) : m_target(target)
    {
        QSqlDatabase db = target.addQtConnection(name());
        if (!db.open())
            die(QStringLiteral("%1: cannot connect: %2").arg(target.displayName(), db.lastError().text()));
        // DROP TABLE IF EXISTS would print a notice on stderr.
        if (target.db == Db::PostgreSQL)
            exec(QStringLiteral("SET client_min_messages = warning"));
    }
    ~Setup()
    {
        {
            QSqlDatabase db = QSqlDatabase::database(name(), false);
            db.close();
        }
        QSqlDatabase::removeDatabase(name());
    }

    static QString name() { return QStringLiteral("bench-setup"); }

    void exec(const QString& sql)
    {
        QSqlQuery q(QSqlDatabase::database(name(), false));
        if (!q.exec(sql))
            die(QStringLiteral("%1: %2: %3").arg(m_target.displayName(), sql.left(200), q.lastError().text()));
    }

    QVariant scalar(const QString& sql)
    {
        QSqlQuery q(QSqlDatabase::database(name(), false));
        if (!q.exec(sql) || !q.next())
            die(QStringLiteral("%1: %2: %3").arg(m_target.displayName(), sql, q.lastError().text()));
        return q.value(0);
    }

    void recreate(const QString& table)
    {
        exec(QStringLiteral("DROP TABLE IF EXISTS %1").arg(table));
        switch (m_target.db) {
        case Db::SQLite:
            exec(QStringLiteral("CREATE TABLE %1 (id INTEGER PRIMARY KEY AUTOINCREMENT, username TEXT, "
                                "score DOUBLE, born TIMESTAMP)").arg(table));
            break;
        case Db::PostgreSQL:
            exec(QStringLiteral("CREATE TABLE %1 (id serial primary key, username text, "
                                "score double precision, born timestamp(3))").arg(table));
            break;
        case Db::MySQL:
            exec(QStringLiteral("CREATE TABLE %1 (id int auto_increment primary key, username text, "
                                "score double, born datetime(3))").arg(table));
            break;
        case Db::Oracle:
            break;
        }
    }

    // Rows with the given values, a few thousand per statement.
    void fill(const QString& table, const std::vector<PlainRow>& rows, int count)
    {
        QSqlDatabase db = QSqlDatabase::database(name(), false);
        db.transaction();
        const int chunk = 2000;
        for (int first = 0; first < count; first += chunk) {
            QString sql = QStringLiteral("INSERT INTO %1 (id, username, score, born) VALUES ").arg(table);
            for (int i = first; i < std::min(count, first + chunk); ++i) {
                const PlainRow& r = rows[size_t(i)];
                if (i > first)
                    sql += QLatin1Char(',');
                sql += QStringLiteral("(%1,'%2',%3,'%4')")
                           .arg(QString::number(r.id),
                                QString::fromStdString(r.name).replace(QLatin1Char('\''), QLatin1String("''")),
                                QString::number(r.score, 'g', 17), QString::fromStdString(r.born));
            }
            exec(sql);
        }
        db.commit();
    }

    qint64 count(const QString& table, const QString& where = QString())
    {
        return scalar(QStringLiteral("SELECT COUNT(*) FROM %1 %2").arg(table, where)).toLongLong();
    }

private:
    const Target& m_target;
};

class BackendRun
{
public:
    BackendRun(const Target& target, const Sizes& sizes, const Options& options, bool connected)
        : m_sizes(sizes)
        , m_options(options)
        , m_connected(connected)
        , m_builder(Tessark::rulesFor(target.type())->dialect)
    {
        m_w.target = target;
        const QString suffix = QString::number(QCoreApplication::applicationPid());
        m_w.writeTable = QStringLiteral("bench_w") + suffix;
        m_w.readTable = QStringLiteral("bench_r") + suffix;
        m_w.columns = QStringList{QStringLiteral("id"), QStringLiteral("username"), QStringLiteral("score"),
                                  QStringLiteral("born")};
        const int people = std::max({sizes.insert, sizes.insertList, sizes.import, sizes.update, sizes.updateList, sizes.build,
                                     sizes.readRows});
        const QDateTime start(QDate(1970, 1, 1), QTime(8, 30));
        for (int i = 0; i < people; ++i) {
            auto p = std::make_unique<BenchPerson>(m_w.writeTable);
            p->username = QStringLiteral("person %1").arg(i);
            if (i % 8 == 0)
                p->username += QLatin1String(" O'Brien"); // a quote to escape now and then
            p->score = i * 0.25 + 0.5;
            p->born = start.addSecs(qint64(i) * 86400 + i % 3600).addMSecs(i % 1000);
            m_w.people.push_back(std::move(p));
        }
        syncPlain(people);
        m_w.readProto = std::make_unique<BenchPerson>(m_w.readTable);
        m_w.readRows = sizes.readRows;
        m_w.pageOffset = sizes.pageOffset;
        m_w.pageSize = sizes.pageSize;
        m_w.pageLoops = sizes.pageLoops;

        if (connected)
            m_setup = std::make_unique<Setup>(m_w.target);
    }

    ~BackendRun()
    {
        if (m_setup) {
            m_setup->exec(QStringLiteral("DROP TABLE IF EXISTS %1").arg(m_w.writeTable));
            m_setup->exec(QStringLiteral("DROP TABLE IF EXISTS %1").arg(m_w.readTable));
        }
    }

    QString serverVersion()
    {
        if (!m_setup)
            return QString();
        if (m_w.target.db == Db::SQLite)
            return QStringLiteral("SQLite ") + m_setup->scalar(QStringLiteral("SELECT sqlite_version()")).toString();
        QString v = m_setup->scalar(QStringLiteral("SELECT version()")).toString();
        if (m_w.target.db == Db::PostgreSQL)
            return v.section(QLatin1Char(' '), 0, 1);
        return QStringLiteral("MariaDB ") + v.section(QLatin1Char('-'), 0, 0);
    }

    BackendResult run()
    {
        BackendResult result;
        result.backend = m_w.target.key();
        result.displayName = m_w.target.displayName();
        result.connected = m_connected;
        if (m_connected) {
            result.version = serverVersion();
            m_setup->recreate(m_w.writeTable);
            m_setup->recreate(m_w.readTable);
            for (size_t i = 0; i < m_w.people.size(); ++i)
                m_w.people[i]->id = int(i) + 1;
            syncPlain(int(m_w.people.size()));
            m_setup->fill(m_w.readTable, m_w.plain, m_sizes.readRows);
        }

        std::vector<std::unique_ptr<Contender>> contenders;
        contenders.push_back(makeLibrary(m_w.target.db));
        contenders.push_back(makeQtText(m_w.target.db));
        contenders.push_back(makeQtPrepared(m_w.target.db));
        if (m_w.target.db == Db::SQLite)
            contenders.push_back(makeSqliteApi());
        else if (m_w.target.db == Db::PostgreSQL)
            contenders.push_back(makeLibpq());
        contenders.push_back(makeSoci(m_w.target.db));
        contenders.erase(std::remove_if(contenders.begin(), contenders.end(),
                                        [&](const auto& c) { return !m_options.wantsContender(c->key()); }),
                         contenders.end());

        if (m_connected) {
            for (auto& c : contenders) {
                if (!c->open(m_w))
                    die(QStringLiteral("%1 %2: %3").arg(m_w.target.key(), c->key(), c->error()));
            }
        }
        for (const ScenarioInfo& info : allScenarios()) {
            if (!m_options.wantsScenario(QLatin1String(info.key)))
                continue;
            if (info.needsDb && !m_connected)
                continue;
            std::vector<Contender*> taking;
            for (auto& c : contenders) {
                if (c->supports(info.id))
                    taking.push_back(c.get());
            }
            if (taking.empty())
                continue;
            result.scenarios.append(runScenario(info, taking));
        }
        if (m_connected && m_options.wantsScenario(QStringLiteral("async")))
            result.async = runAsyncScenario();
        if (m_connected) {
            for (auto& c : contenders)
                c->close();
        }
        return result;
    }

private:
    AsyncFigures runAsyncScenario()
    {
        // The long statement among the server's running ones, this connection's own query left out.
        std::function<int()> running;
        if (m_w.target.db == Db::PostgreSQL) {
            running = [this] {
                return m_setup->scalar(QStringLiteral("select count(*) from pg_stat_activity where state = 'active' "
                                                      "and query like 'select pg_sleep(%' and pid <> pg_backend_pid()"))
                    .toInt();
            };
        } else if (m_w.target.db == Db::MySQL) {
            running = [this] {
                return m_setup->scalar(QStringLiteral("select count(*) from information_schema.processlist "
                                                      "where info like 'select sleep(%' and id <> connection_id()"))
                    .toInt();
            };
        }
        const AsyncFigures f = runAsync(m_w.target, m_w.readTable, m_options.quick ? 1 : 5, running);
        if (!f.ran)
            die(QStringLiteral("%1 async: a call failed or did not end").arg(m_w.target.key()));
        if (f.rowsRead != m_sizes.readRows)
            die(QStringLiteral("%1 async: read %2 rows of %3").arg(m_w.target.key()).arg(f.rowsRead).arg(m_sizes.readRows));
        return f;
    }

    void syncPlain(int count)
    {
        m_w.plain.resize(size_t(count));
        for (int i = 0; i < count; ++i) {
            const BenchPerson* p = m_w.people[size_t(i)].get();
            PlainRow& r = m_w.plain[size_t(i)];
            r.id = p->id;
            r.name = p->username.toStdString();
            r.score = p->score;
            r.born = bornText(p->born).toStdString();
            const QDate d = p->born.date();
            const QTime t = p->born.time();
            r.bornTm = std::tm{};
            r.bornTm.tm_year = d.year() - 1900;
            r.bornTm.tm_mon = d.month() - 1;
            r.bornTm.tm_mday = d.day();
            r.bornTm.tm_hour = t.hour();
            r.bornTm.tm_min = t.minute();
            r.bornTm.tm_sec = t.second();
        }
    }

    int sizeOf(Scenario s) const
    {
        switch (s) {
        case Scenario::Insert:
            return m_sizes.insert;
        case Scenario::InsertList:
            return m_sizes.insertList;
        case Scenario::Import:
            return m_sizes.import;
        case Scenario::Update:
            return m_sizes.update;
        case Scenario::UpdateList:
            return m_sizes.updateList;
        case Scenario::Query:
            return m_sizes.readRows;
        case Scenario::Page:
            return m_sizes.pageLoops;
        case Scenario::Build:
            return m_sizes.build;
        }
        return 0;
    }

    QString title(Scenario s) const
    {
        switch (s) {
        case Scenario::Insert:
            return QStringLiteral("Insert x%1, key read back").arg(m_sizes.insert);
        case Scenario::InsertList:
            return QStringLiteral("InsertList of %1").arg(m_sizes.insertList);
        case Scenario::Import:
            return QStringLiteral("InsertList of %1").arg(m_sizes.import);
        case Scenario::Update:
            return QStringLiteral("Update by key x%1").arg(m_sizes.update);
        case Scenario::UpdateList:
            return QStringLiteral("UpdateList of %1").arg(m_sizes.updateList);
        case Scenario::Query:
            return QStringLiteral("Query %1 rows").arg(m_sizes.readRows);
        case Scenario::Page:
            return QStringLiteral("Page at %1 (%2 rows) + count, x%3")
                .arg(m_sizes.pageOffset)
                .arg(m_sizes.pageSize)
                .arg(m_sizes.pageLoops);
        case Scenario::Build:
            return QStringLiteral("GetInsertSql x%1, no database").arg(m_sizes.build);
        }
        return QString();
    }

    // Untimed: the state a run starts from, and the texts the library will send.
    void setUp(Scenario s, Contender& c)
    {
        Workload& w = m_w;
        w.count = sizeOf(s);
        w.listRecords();
        w.texts.clear();
        w.idTexts.clear();
        w.ids.clear();
        w.built.clear();
        w.rowsRead = 0;
        w.counted = 0;
        const QString key = QStringLiteral("id");
        switch (s) {
        case Scenario::Insert:
            m_setup->recreate(w.writeTable);
            for (int i = 0; i < w.count; ++i) {
                BenchPerson* p = w.people[size_t(i)].get();
                p->id = 0;
                w.texts.append(m_builder.GetInsertSql(w.writeTable, w.columns, p, key, true, QStringList()));
                // The library's key read-back after each insert.
                if (w.target.db == Db::SQLite)
                    w.idTexts.append(QStringLiteral("SELECT LAST_INSERT_ROWID() as id"));
                else if (w.target.db == Db::MySQL)
                    w.idTexts.append(QStringLiteral("SELECT LAST_INSERT_ID() as id"));
            }
            syncPlain(w.count);
            break;
        case Scenario::InsertList:
        case Scenario::Import:
            m_setup->recreate(w.writeTable);
            for (int i = 0; i < w.count; ++i) {
                BenchPerson* p = w.people[size_t(i)].get();
                p->id = i + 1;
                w.texts.append(m_builder.GetInsertSql(w.writeTable, w.columns, p, key, false, QStringList()));
            }
            syncPlain(w.count);
            break;
        case Scenario::Update:
        case Scenario::UpdateList: {
            for (int i = 0; i < w.count; ++i)
                w.people[size_t(i)]->id = i + 1;
            syncPlain(w.count);
            m_setup->recreate(w.writeTable);
            m_setup->fill(w.writeTable, w.plain, w.count);
            ++m_generation;
            const QString suffix = QStringLiteral(" g%1").arg(m_generation);
            for (int i = 0; i < w.count; ++i) {
                BenchPerson* p = w.people[size_t(i)].get();
                p->username = p->username.section(QStringLiteral(" g"), 0, 0) + suffix;
                p->score += 1;
                w.texts.append(m_builder.GetUpdateSql(w.writeTable, w.columns, p, key));
            }
            syncPlain(w.count);
            break;
        }
        case Scenario::Query:
            w.queryText = m_builder.GetQuerySql(w.readTable);
            break;
        case Scenario::Page:
            w.pageText = m_builder.GetQueryIndexSql(w.readTable, w.pageOffset, w.pageSize);
            w.countText = m_builder.GetQueryRowSql(w.readTable);
            break;
        case Scenario::Build:
            w.built.reserve(w.count);
            break;
        }
        c.setUp(s, w);
    }

    // Untimed: did the run do its work?
    void check(Scenario s, const Contender& c)
    {
        Workload& w = m_w;
        const auto wrong = [&](const QString& what) {
            die(QStringLiteral("%1 %2 %3: %4").arg(w.target.key(), scenarioKey(s), c.key(), what));
        };
        switch (s) {
        case Scenario::Insert: {
            if (m_setup->count(w.writeTable) != w.count)
                wrong(QStringLiteral("wrong row count"));
            const long long last = w.ids.empty() ? w.people[size_t(w.count - 1)]->id : w.ids.back();
            if (last <= 0)
                wrong(QStringLiteral("no key read back"));
            break;
        }
        case Scenario::InsertList:
        case Scenario::Import:
            if (m_setup->count(w.writeTable) != w.count)
                wrong(QStringLiteral("wrong row count"));
            break;
        case Scenario::Update:
        case Scenario::UpdateList:
            if (m_setup->count(w.writeTable, QStringLiteral("WHERE username LIKE '%% g%1'").arg(m_generation))
                != w.count)
                wrong(QStringLiteral("rows not updated"));
            break;
        case Scenario::Query:
            if (w.rowsRead != w.readRows)
                wrong(QStringLiteral("read %1 rows of %2").arg(w.rowsRead).arg(w.readRows));
            break;
        case Scenario::Page:
            if (w.rowsRead != qint64(w.pageLoops) * w.pageSize || w.counted != w.readRows)
                wrong(QStringLiteral("page or count wrong"));
            break;
        case Scenario::Build:
            if (w.built.size() != w.count)
                wrong(QStringLiteral("built %1 of %2").arg(w.built.size()).arg(w.count));
            break;
        }
    }

    // The hand-written texts must be the library's, or the comparison means nothing.
    void checkSameTexts(const std::vector<Contender*>& contenders)
    {
        QList<QStringList> outputs;
        for (Contender* c : contenders) {
            setUp(Scenario::Build, *c);
            if (!c->run(Scenario::Build, m_w))
                die(c->error());
            outputs.append(m_w.built);
        }
        for (int i = 1; i < outputs.size(); ++i) {
            for (int k = 0; k < outputs[0].size(); ++k) {
                if (outputs[i].value(k) != outputs[0][k])
                    die(QStringLiteral("%1 build: %2 wrote\n  %3\nthe library\n  %4")
                            .arg(m_w.target.key(), contenders[size_t(i)]->key(), outputs[i].value(k), outputs[0][k]));
            }
        }
    }

    ScenarioResult runScenario(const ScenarioInfo& info, const std::vector<Contender*>& contenders)
    {
        if (info.id == Scenario::Build)
            checkSameTexts(contenders);
        ScenarioResult result;
        result.key = QLatin1String(info.key);
        result.title = title(info.id);
        result.size = sizeOf(info.id);
        result.reps = m_options.reps;
        QVector<QVector<double>> samples(int(contenders.size()));
        const int n = int(contenders.size());
        for (int rep = 0; rep < m_options.reps; ++rep) {
            for (int j = 0; j < n; ++j) {
                const int k = (j + rep) % n;
                Contender& c = *contenders[size_t(k)];
                setUp(info.id, c);
                double ms = 0;
                if (!timedRun(c, info.id, m_w, &ms))
                    die(QStringLiteral("%1 %2 %3: %4").arg(m_w.target.key(), result.key, c.key(), c.error()));
                check(info.id, c);
                samples[k].append(ms);
            }
        }
        for (int k = 0; k < n; ++k)
            result.times.append({contenders[size_t(k)]->key(), median(samples[k]), samples[k]});
        return result;
    }

    Workload m_w;
    Sizes m_sizes;
    const Options& m_options;
    bool m_connected;
    const Tessark::Dialect m_builder;
    std::unique_ptr<Setup> m_setup;
    int m_generation = 0;
};

} // namespace

// Out of line, so that a profiler can collect just the measured work
// (valgrind --tool=callgrind --toggle-collect='Bench::timedRun*').
__attribute__((noinline)) bool timedRun(Contender& c, Scenario s, Workload& w, double* ms)
{
    QElapsedTimer timer;
    timer.start();
    const bool ok = c.run(s, w);
    *ms = double(timer.nsecsElapsed()) / 1e6;
    return ok;
}

} // namespace Bench

int main(int argc, char** argv)
{
    using namespace Bench;
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tessark-bench"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Times the library's record operations against raw Qt SQL, the C APIs and SOCI."));
    parser.addHelpOption();
    const QCommandLineOption quick(QStringLiteral("quick"), QStringLiteral("Tiny sizes, one repetition: proves it runs."));
    const QCommandLineOption reps(QStringLiteral("reps"), QStringLiteral("Repetitions per contender (default 7)."),
                                  QStringLiteral("N"));
    const QCommandLineOption backends(QStringLiteral("backends"),
                                      QStringLiteral("Comma-separated: sqlite,postgresql,mysql (default: all)."),
                                      QStringLiteral("LIST"));
    const QCommandLineOption only(QStringLiteral("scenarios"),
                                  QStringLiteral("Comma-separated: insert,insert_list,insert_list_100k,update,update_list,query,"
                                                 "page,build,async (default: all)."),
                                  QStringLiteral("LIST"));
    const QCommandLineOption contenders(QStringLiteral("contenders"),
                                        QStringLiteral("Comma-separated: library,qt_text,qt_prepared,c_api,soci "
                                                       "(default: all)."),
                                        QStringLiteral("LIST"));
    const QCommandLineOption dir(QStringLiteral("dir"),
                                 QStringLiteral("Folder for the SQLite file and the log (default: a temporary one)."),
                                 QStringLiteral("DIR"));
    const QCommandLineOption doc(QStringLiteral("doc"),
                                 QStringLiteral("Markdown file whose results section is replaced by this run's."),
                                 QStringLiteral("FILE"));
    parser.addOptions({quick, reps, backends, only, contenders, dir, doc});
    parser.process(app);

    Options options;
    options.quick = parser.isSet(quick);
    options.reps = parser.isSet(reps) ? parser.value(reps).toInt() : options.quick ? 1 : 7;
    if (options.reps < 1)
        die(QStringLiteral("--reps wants a positive number"));
    if (parser.isSet(backends))
        options.backends = parser.value(backends).split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (parser.isSet(only))
        options.scenarios = parser.value(only).split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (parser.isSet(contenders))
        options.contenders = parser.value(contenders).split(QLatin1Char(','), Qt::SkipEmptyParts);
    const Sizes sizes = options.quick ? Sizes::quick() : Sizes();

    QTemporaryDir tempDir;
    const QString folder = parser.isSet(dir) ? QDir(parser.value(dir)).absolutePath() : tempDir.path();
    if (!QDir().mkpath(folder))
        die(QStringLiteral("cannot create %1").arg(folder));
    TessarkTool::SetLogPath(QDir(folder).filePath(QStringLiteral("log")));

    const bool requireServers = qEnvironmentVariable("TESSARK_TEST_REQUIRE_SERVERS") == QLatin1String("1");
    QList<Target> targets;
    {
        Target sqlite;
        sqlite.db = Db::SQLite;
        sqlite.file = QDir(folder).filePath(QStringLiteral("bench.db"));
        QFile::remove(sqlite.file);
        QFile create(sqlite.file);
        if (!create.open(QIODevice::WriteOnly))
            die(QStringLiteral("cannot create %1").arg(sqlite.file));
        targets.append(sqlite);
    }
    const struct
    {
        Db db;
        const char* variable;
    } servers[] = {{Db::PostgreSQL, "TESSARK_TEST_PG"}, {Db::MySQL, "TESSARK_TEST_MYSQL"}};
    QList<bool> connected{true};
    for (const auto& server : servers) {
        Target t;
        t.db = server.db;
        const QString address = qEnvironmentVariable(server.variable);
        const bool present = !address.isEmpty();
        if (present && !parseServer(address, t))
            die(QStringLiteral("%1 is not \"host=... port=... user=... password=... dbname=...\"")
                    .arg(QLatin1String(server.variable)));
        if (!present && requireServers && options.wantsBackend(t.key()))
            die(QStringLiteral("%1 is not set (TESSARK_TEST_REQUIRE_SERVERS=1)").arg(QLatin1String(server.variable)));
        targets.append(t);
        connected.append(present);
    }

    Report report;
    report.options = options;
    report.machine = describeMachine();
    report.sqliteFolder = folder;
    for (int i = 0; i < targets.size(); ++i) {
        if (!options.wantsBackend(targets[i].key()))
            continue;
        BackendResult result = BackendRun(targets[i], sizes, options, connected[i]).run();
        printBackend(out(), result, options);
        out().flush();
        report.backends.append(result);
    }
    printTargets(out(), report);
    printMachineLines(out(), report);
    out().flush();
    if (parser.isSet(doc) && !writeDoc(parser.value(doc), report))
        die(QStringLiteral("cannot write %1").arg(parser.value(doc)));
    return 0;
}
