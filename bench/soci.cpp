// SOCI, the peer a C++ programmer would pick instead: prepared statements,
// bulk binding of column vectors for the lists. Backends are loaded by name.

#include <soci/soci.h>

#include "bench.h"

namespace Bench {
namespace {

// SOCI hands server strings to the client library, which wants quotes only
// around values with blanks.
QString sociQuoted(const QString& value)
{
    if (!value.isEmpty() && !value.contains(QLatin1Char(' ')) && !value.contains(QLatin1Char('\'')))
        return value;
    return QLatin1Char('\'') + QString(value).replace(QLatin1Char('\''), QLatin1String("\\'")) + QLatin1Char('\'');
}

QDateTime fromTm(const std::tm& tm)
{
    return QDateTime(QDate(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday), QTime(tm.tm_hour, tm.tm_min, tm.tm_sec));
}

class Soci : public Contender
{
public:
    explicit Soci(Db db) : m_db(db) {}

    QString key() const override { return QStringLiteral("soci"); }
    bool supports(Scenario scenario) const override { return scenario != Scenario::Build; }

    bool open(const Workload& w) override
    {
        const Target& t = w.target;
        std::string backend;
        QString connect;
        switch (m_db) {
        case Db::SQLite:
            backend = "sqlite3";
            connect = QStringLiteral("db=%1 timeout=5").arg(t.file);
            break;
        case Db::PostgreSQL:
        case Db::MySQL:
            backend = m_db == Db::PostgreSQL ? "postgresql" : "mysql";
            connect = QStringLiteral("host=%1 port=%2 user=%3 dbname=%4")
                          .arg(sociQuoted(t.host), QString::number(t.port), sociQuoted(t.user), sociQuoted(t.dbname));
            if (!t.password.isEmpty())
                connect += QLatin1String(" password=") + sociQuoted(t.password);
            break;
        case Db::Oracle:
            return fail(QStringLiteral("no Oracle reference"));
        }
        try {
            m_sql.open(backend, connect.toStdString());
        } catch (const std::exception& e) {
            return fail(QString::fromUtf8(e.what()));
        }
        return true;
    }

    void close() override { m_sql.close(); }

    void setUp(Scenario scenario, const Workload& w) override
    {
        if (scenario != Scenario::InsertList && scenario != Scenario::Import && scenario != Scenario::UpdateList)
            return;
        // Bulk binding wants one vector per column.
        m_ids.clear();
        m_names.clear();
        m_scores.clear();
        m_borns.clear();
        for (int i = 0; i < w.count; ++i) {
            const PlainRow& r = w.plain[size_t(i)];
            m_ids.push_back(r.id);
            m_names.push_back(r.name);
            m_scores.push_back(r.score);
            m_borns.push_back(r.bornTm);
        }
    }

    bool run(Scenario scenario, Workload& w) override
    {
        try {
            return runScenario(scenario, w);
        } catch (const std::exception& e) {
            return fail(QString::fromUtf8(e.what()));
        }
    }

private:
    bool runScenario(Scenario scenario, Workload& w)
    {
        const std::string t = w.writeTable.toStdString();
        const std::string r = w.readTable.toStdString();
        switch (scenario) {
        case Scenario::Insert: {
            std::string name;
            double score = 0;
            std::tm born{};
            long long id = 0;
            const std::string sql = "INSERT INTO " + t + " (username, score, born) VALUES (:u, :s, :b)";
            const bool returning = m_db == Db::PostgreSQL;
            soci::statement st = returning
                ? (m_sql.prepare << sql + " RETURNING id", soci::use(name), soci::use(score), soci::use(born),
                   soci::into(id))
                : (m_sql.prepare << sql, soci::use(name), soci::use(score), soci::use(born));
            w.ids.resize(size_t(w.count));
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& p = w.plain[size_t(i)];
                name = p.name;
                score = p.score;
                born = p.bornTm;
                st.execute(true);
                if (!returning && !m_sql.get_last_insert_id(t, id))
                    return fail(QStringLiteral("no last insert id"));
                w.ids[size_t(i)] = id;
            }
            return true;
        }
        case Scenario::InsertList:
        case Scenario::Import: {
            soci::transaction tr(m_sql);
            m_sql << "INSERT INTO " + t + " (id, username, score, born) VALUES (:i, :u, :s, :b)", soci::use(m_ids),
                soci::use(m_names), soci::use(m_scores), soci::use(m_borns);
            tr.commit();
            return true;
        }
        case Scenario::Update: {
            std::string name;
            double score = 0;
            std::tm born{};
            int id = 0;
            soci::statement st = (m_sql.prepare << "UPDATE " + t + " SET username = :u, score = :s, born = :b WHERE id = :i",
                                  soci::use(name), soci::use(score), soci::use(born), soci::use(id));
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& p = w.plain[size_t(i)];
                name = p.name;
                score = p.score;
                born = p.bornTm;
                id = p.id;
                st.execute(true);
            }
            return true;
        }
        case Scenario::UpdateList: {
            soci::transaction tr(m_sql);
            m_sql << "UPDATE " + t + " SET username = :u, score = :s, born = :b WHERE id = :i", soci::use(m_names),
                soci::use(m_scores), soci::use(m_borns), soci::use(m_ids);
            tr.commit();
            return true;
        }
        case Scenario::Query: {
            soci::row row;
            soci::statement st = (m_sql.prepare << "SELECT * FROM " + r, soci::into(row));
            RowList rows;
            read(st, row, rows);
            w.rowsRead = rows.size();
            return true;
        }
        case Scenario::Page: {
            soci::row row;
            int limit = w.pageSize;
            int offset = w.pageOffset;
            long long counted = 0;
            soci::statement page = (m_sql.prepare << "SELECT * FROM " + r + " LIMIT :l OFFSET :o", soci::use(limit),
                                    soci::use(offset), soci::into(row));
            soci::statement count = (m_sql.prepare << "SELECT COUNT(*) FROM " + r, soci::into(counted));
            w.rowsRead = 0;
            for (int i = 0; i < w.pageLoops; ++i) {
                RowList rows;
                read(page, row, rows);
                w.rowsRead += rows.size();
                count.execute(true);
                w.counted = counted;
            }
            return true;
        }
        case Scenario::Build:
            break;
        }
        return false;
    }

    static void read(soci::statement& st, soci::row& row, RowList& rows)
    {
        QStringList names;
        st.execute();
        while (st.fetch()) {
            const int columns = int(row.size());
            if (names.isEmpty()) {
                for (int c = 0; c < columns; ++c)
                    names.append(QString::fromStdString(row.get_properties(size_t(c)).get_name()));
            }
            Row out;
            out.reserve(columns);
            for (int c = 0; c < columns; ++c) {
                const size_t i = size_t(c);
                QVariant value;
                if (row.get_indicator(i) != soci::i_null) {
                    switch (row.get_properties(i).get_data_type()) {
                    case soci::dt_string:
                        value = QString::fromStdString(row.get<std::string>(i));
                        break;
                    case soci::dt_double:
                        value = row.get<double>(i);
                        break;
                    case soci::dt_integer:
                        value = row.get<int>(i);
                        break;
                    case soci::dt_long_long:
                        value = qlonglong(row.get<long long>(i));
                        break;
                    case soci::dt_unsigned_long_long:
                        value = qulonglong(row.get<unsigned long long>(i));
                        break;
                    case soci::dt_date:
                        value = fromTm(row.get<std::tm>(i));
                        break;
                    case soci::dt_blob:
                    case soci::dt_xml:
                        break;
                    }
                }
                out.insert(names[c], value);
            }
            rows.append(out);
        }
    }

    Db m_db;
    soci::session m_sql;
    std::vector<int> m_ids;
    std::vector<std::string> m_names;
    std::vector<double> m_scores;
    std::vector<std::tm> m_borns;
};

} // namespace

std::unique_ptr<Contender> makeSoci(Db db)
{
    return std::make_unique<Soci>(db);
}

} // namespace Bench
