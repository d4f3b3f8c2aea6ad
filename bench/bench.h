#ifndef TESSARK_BENCH_BENCH_H
#define TESSARK_BENCH_BENCH_H

#include <QDateTime>
#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "Model/conninfomodel.h"
#include "Model/types.h"
#include "record.h"

namespace Bench {

// The databases the bench runs against, by the library's own kinds.
using Db = Tessark::Kind;

// One database to run against: a SQLite file or a server address.
struct Target
{
    Db db = Db::SQLite;
    QString file; // SQLite
    QString host;
    int port = 0;
    QString user;
    QString password;
    QString dbname;

    QString key() const;          // "sqlite", "postgresql", "mysql"
    QString displayName() const;  // "SQLite", "PostgreSQL", "MariaDB"
    QString qtDriver() const;
    DbType type() const { return DbType(db); }
    // The connection description the library is given (tag "bench").
    ConnInfoModel info() const;
    // Adds a Qt connection under name (not opened).
    QSqlDatabase addQtConnection(const QString& name) const;
};

enum class Scenario { Insert, InsertList, Import, Update, UpdateList, Query, Page, Build };

// A record's values as a program without the library holds them.
struct PlainRow
{
    int id = 0;
    std::string name;
    double score = 0;
    std::string born; // "yyyy-MM-dd HH:mm:ss.zzz"
    std::tm bornTm{};
};

// Everything a scenario run reads and writes. Set up (untimed) before each run.
struct Workload
{
    Target target;
    QString writeTable;
    QString readTable;
    QStringList columns; // of both tables, as the catalogue lists them
    std::vector<std::unique_ptr<BenchPerson>> people;
    std::vector<PlainRow> plain; // parallel to people
    std::unique_ptr<BenchPerson> readProto;

    int count = 0;      // records this run uses (the first count of people)
    int readRows = 0;   // rows in the read table
    int pageOffset = 0;
    int pageSize = 0;
    int pageLoops = 0;

    // Texts the library sends for this run, built with its own dialect (untimed),
    // for the reference that runs them through raw Qt.
    QStringList texts;
    QStringList idTexts;   // the last-id query after each insert; empty with a RETURNING key
    QString queryText;     // whole read table
    QString pageText;
    QString countText;

    // What a run produced, checked after it.
    qint64 rowsRead = 0;
    qint64 counted = 0;
    std::vector<long long> ids;
    QStringList built;

    // The first count of people as the list a program would already hold
    // for a list call (untimed).
    QList<ObjectModel*> records;
    void listRecords();
};

// A way of doing the scenarios: the library or one of the references.
class Contender
{
public:
    virtual ~Contender() = default;
    virtual QString key() const = 0;   // machine name: library, qt_text, qt_prepared, c_api, soci
    virtual bool supports(Scenario scenario) const = 0;
    // Connects; the build scenario runs without it.
    virtual bool open(const Workload& w) = 0;
    virtual void close() = 0;
    // Untimed, before each run: shape the data the way this contender's users hold it.
    virtual void setUp(Scenario, const Workload&) {}
    // The timed part. False on failure, with error() saying why.
    virtual bool run(Scenario scenario, Workload& w) = 0;
    QString error() const { return m_error; }

protected:
    bool fail(const QString& why)
    {
        m_error = why;
        return false;
    }
    QString m_error;
};

std::unique_ptr<Contender> makeLibrary(Db db);
std::unique_ptr<Contender> makeQtText(Db db);
std::unique_ptr<Contender> makeQtPrepared(Db db);
std::unique_ptr<Contender> makeSqliteApi();
std::unique_ptr<Contender> makeLibpq();
std::unique_ptr<Contender> makeSoci(Db db);

// Reads every row of an executed query into rows the way the library does.
RowList readRows(class QSqlQuery& query);

// Text forms shared by the references.
QString bornText(const QDateTime& born); // "yyyy-MM-dd HH:mm:ss.zzz"

} // namespace Bench

#endif // TESSARK_BENCH_BENCH_H
