// The library itself, through each database's persistence class (the facade
// only adds one switch; QueryRow(record) is not on it).

#include <type_traits>

#include "bench.h"
#include "mysql/mysqlquery.h"
#include "postgresql/postgresqlquery.h"
#include "sqlite/sqlitequery.h"

namespace Bench {
namespace {

template <class Q>
class Library : public Contender
{
public:
    QString key() const override { return QStringLiteral("library"); }
    bool supports(Scenario) const override { return true; }

    bool open(const Workload& w) override
    {
        const Target& t = w.target;
        if constexpr (std::is_same_v<Q, SQLiteQuery>)
            m_query.InitInfo(t.file, QStringLiteral("bench"));
        else
            m_query.InitInfo(t.host, t.port, t.user, t.password, t.dbname, QStringLiteral("bench"));
        if (!m_query.InitConnect())
            return fail(QStringLiteral("InitConnect failed"));
        // The name caches fill on first use, once per program; not what is measured.
        m_query.GetTableNames();
        if (m_query.GetColumnNames(w.writeTable).isEmpty())
            return fail(QStringLiteral("no columns for %1").arg(w.writeTable));
        m_query.GetColumnNames(w.readTable);
        return true;
    }

    void close() override { m_query.Close(); }

    bool run(Scenario scenario, Workload& w) override
    {
        switch (scenario) {
        case Scenario::Insert:
            for (int i = 0; i < w.count; ++i) {
                if (!m_query.Insert(w.people[size_t(i)].get(), true, QStringList()))
                    return fail(QStringLiteral("Insert returned false"));
            }
            return true;
        case Scenario::InsertList:
            return m_query.InsertList(w.records, false, false) || fail(QStringLiteral("InsertList returned false"));
        case Scenario::Update:
            for (int i = 0; i < w.count; ++i) {
                if (!m_query.Update(w.people[size_t(i)].get()))
                    return fail(QStringLiteral("Update returned false"));
            }
            return true;
        case Scenario::UpdateList:
            return m_query.UpdateList(w.records, false) || fail(QStringLiteral("UpdateList returned false"));
        case Scenario::Query:
            w.rowsRead = m_query.Query(w.readProto.get()).size();
            return true;
        case Scenario::Page:
            w.rowsRead = 0;
            for (int i = 0; i < w.pageLoops; ++i) {
                w.rowsRead += m_query.Query(w.pageOffset, w.pageSize, w.readProto.get()).size();
                w.counted = m_query.QueryRow(w.readProto.get());
            }
            return true;
        case Scenario::Build:
            for (int i = 0; i < w.count; ++i) {
                BenchPerson* p = w.people[size_t(i)].get();
                w.built.append(m_query.GetInsertSql(p->table(), w.columns, p, QStringLiteral("id"), true,
                                                    QStringList()));
            }
            return true;
        }
        return false;
    }

private:
    Q m_query;
};

} // namespace

std::unique_ptr<Contender> makeLibrary(Db db)
{
    switch (db) {
    case Db::SQLite:
        return std::make_unique<Library<SQLiteQuery>>();
    case Db::PostgreSQL:
        return std::make_unique<Library<PostgreSQLQuery>>();
    case Db::MySQL:
        return std::make_unique<Library<MySqlQuery>>();
    }
    return nullptr;
}

} // namespace Bench
