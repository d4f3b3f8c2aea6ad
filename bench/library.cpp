// The library itself, through the backend the facade and the CLI use too
// (QueryRow(record) is not on the facade).

#include "bench.h"
#include "core/backend.h"

namespace Bench {
namespace {

class Library : public Contender
{
public:
    QString key() const override { return QStringLiteral("library"); }
    bool supports(Scenario) const override { return true; }

    bool open(const Workload& w) override
    {
        m_backend = Tessark::makeBackend(w.target.info());
        if (!m_backend || !m_backend->persistence().InitConnect())
            return fail(QStringLiteral("InitConnect failed"));
        // The name caches fill on first use, once per program; not what is measured.
        m_backend->catalogue().tableNames();
        if (m_backend->catalogue().columns(w.writeTable).isEmpty())
            return fail(QStringLiteral("no columns for %1").arg(w.writeTable));
        m_backend->catalogue().columns(w.readTable);
        return true;
    }

    void close() override { m_backend->persistence().Close(); }

    bool run(Scenario scenario, Workload& w) override
    {
        Tessark::Persistence& m_query = m_backend->persistence();
        switch (scenario) {
        case Scenario::Insert:
            for (int i = 0; i < w.count; ++i) {
                if (!m_query.Insert(w.people[size_t(i)].get(), true, QStringList()))
                    return fail(QStringLiteral("Insert returned false"));
            }
            return true;
        case Scenario::InsertList:
        case Scenario::Import:
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
            // Without a server nothing was opened: statement building needs no connection.
            if (!m_backend)
                m_backend = Tessark::makeBackend(w.target.info());
            for (int i = 0; i < w.count; ++i) {
                BenchPerson* p = w.people[size_t(i)].get();
                w.built.append(m_backend->dialect().GetInsertSql(p->table(), w.columns, p, QStringLiteral("id"), true,
                                                    QStringList()));
            }
            return true;
        }
        return false;
    }

private:
    std::unique_ptr<Tessark::Backend> m_backend;
};

} // namespace

std::unique_ptr<Contender> makeLibrary(Db)
{
    return std::make_unique<Library>();
}

} // namespace Bench
