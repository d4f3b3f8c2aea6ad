// PostgreSQL's own client library: server-side prepared statements with text
// parameters, the practical limit. Rows are read into the same hashes the
// library returns, with the value types Qt's driver gives them.

#include <libpq-fe.h>

#include <cstdio>
#include <cstdlib>

#include "bench.h"

namespace Bench {
namespace {

// PostgreSQL type oids of the columns the bench reads.
constexpr Oid int8Oid = 20;
constexpr Oid int4Oid = 23;
constexpr Oid textOid = 25;
constexpr Oid float8Oid = 701;
constexpr Oid varcharOid = 1043;
constexpr Oid timestampOid = 1114;

class Result
{
public:
    explicit Result(PGresult* result) : m_result(result) {}
    ~Result() { PQclear(m_result); }
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    PGresult* get() const { return m_result; }
    bool ok() const
    {
        const ExecStatusType status = PQresultStatus(m_result);
        return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
    }

private:
    PGresult* m_result;
};

QString quoted(const QString& value)
{
    return QLatin1Char('\'') + QString(value).replace(QLatin1Char('\''), QLatin1String("''")) + QLatin1Char('\'');
}

class Libpq : public Contender
{
public:
    QString key() const override { return QStringLiteral("c_api"); }
    bool supports(Scenario scenario) const override { return scenario != Scenario::Build; }

    bool open(const Workload& w) override
    {
        const Target& t = w.target;
        QString info = QStringLiteral("host=%1 port=%2 user=%3 dbname=%4")
                           .arg(quoted(t.host), QString::number(t.port), quoted(t.user), quoted(t.dbname));
        if (!t.password.isEmpty())
            info += QLatin1String(" password=") + quoted(t.password);
        m_conn = PQconnectdb(info.toUtf8().constData());
        return PQstatus(m_conn) == CONNECTION_OK || failed();
    }

    void close() override
    {
        PQfinish(m_conn);
        m_conn = nullptr;
    }

    bool run(Scenario scenario, Workload& w) override
    {
        const QString& t = w.writeTable;
        switch (scenario) {
        case Scenario::Insert: {
            const QByteArray st = prepare(
                QStringLiteral("INSERT INTO %1 (username, score, born) VALUES ($1, $2, $3) RETURNING id").arg(t), 3);
            if (st.isEmpty())
                return false;
            w.ids.resize(size_t(w.count));
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& r = w.plain[size_t(i)];
                char score[32];
                std::snprintf(score, sizeof score, "%.17g", r.score);
                const char* values[] = {r.name.c_str(), score, r.born.c_str()};
                Result res(PQexecPrepared(m_conn, st.constData(), 3, values, nullptr, nullptr, 0));
                if (!res.ok() || PQntuples(res.get()) != 1)
                    return failed();
                w.ids[size_t(i)] = std::atoll(PQgetvalue(res.get(), 0, 0));
            }
            return true;
        }
        case Scenario::InsertList:
        case Scenario::Import: {
            if (!exec("BEGIN"))
                return false;
            const QByteArray st = prepare(
                QStringLiteral("INSERT INTO %1 (id, username, score, born) VALUES ($1, $2, $3, $4)").arg(t), 4);
            if (st.isEmpty())
                return false;
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& r = w.plain[size_t(i)];
                char id[16];
                char score[32];
                std::snprintf(id, sizeof id, "%d", r.id);
                std::snprintf(score, sizeof score, "%.17g", r.score);
                const char* values[] = {id, r.name.c_str(), score, r.born.c_str()};
                Result res(PQexecPrepared(m_conn, st.constData(), 4, values, nullptr, nullptr, 0));
                if (!res.ok())
                    return failed();
            }
            return exec("COMMIT");
        }
        case Scenario::Update:
        case Scenario::UpdateList: {
            const bool batch = scenario == Scenario::UpdateList;
            if (batch && !exec("BEGIN"))
                return false;
            const QByteArray st = prepare(
                QStringLiteral("UPDATE %1 SET username = $1, score = $2, born = $3 WHERE id = $4").arg(t), 4);
            if (st.isEmpty())
                return false;
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& r = w.plain[size_t(i)];
                char id[16];
                char score[32];
                std::snprintf(id, sizeof id, "%d", r.id);
                std::snprintf(score, sizeof score, "%.17g", r.score);
                const char* values[] = {r.name.c_str(), score, r.born.c_str(), id};
                Result res(PQexecPrepared(m_conn, st.constData(), 4, values, nullptr, nullptr, 0));
                if (!res.ok())
                    return failed();
            }
            return !batch || exec("COMMIT");
        }
        case Scenario::Query: {
            Result res(PQexec(m_conn, QStringLiteral("SELECT * FROM %1").arg(w.readTable).toUtf8().constData()));
            if (!res.ok())
                return failed();
            RowList rows;
            read(res.get(), rows);
            w.rowsRead = rows.size();
            return true;
        }
        case Scenario::Page: {
            const QByteArray page = prepare(QStringLiteral("SELECT * FROM %1 LIMIT $1 OFFSET $2").arg(w.readTable), 2);
            const QByteArray count = prepare(QStringLiteral("SELECT COUNT(*) FROM %1").arg(w.readTable), 0);
            if (page.isEmpty() || count.isEmpty())
                return false;
            char limit[16];
            char offset[16];
            std::snprintf(limit, sizeof limit, "%d", w.pageSize);
            std::snprintf(offset, sizeof offset, "%d", w.pageOffset);
            const char* values[] = {limit, offset};
            w.rowsRead = 0;
            for (int i = 0; i < w.pageLoops; ++i) {
                Result res(PQexecPrepared(m_conn, page.constData(), 2, values, nullptr, nullptr, 0));
                if (!res.ok())
                    return failed();
                RowList rows;
                read(res.get(), rows);
                w.rowsRead += rows.size();
                Result counted(PQexecPrepared(m_conn, count.constData(), 0, nullptr, nullptr, nullptr, 0));
                if (!counted.ok() || PQntuples(counted.get()) != 1)
                    return failed();
                w.counted = std::atoll(PQgetvalue(counted.get(), 0, 0));
            }
            return true;
        }
        case Scenario::Build:
            break;
        }
        return false;
    }

private:
    bool failed() { return fail(QString::fromUtf8(PQerrorMessage(m_conn)).trimmed()); }

    bool exec(const char* sql)
    {
        Result res(PQexec(m_conn, sql));
        return res.ok() || failed();
    }

    // A statement name unique in this session; empty on failure.
    QByteArray prepare(const QString& sql, int parameters)
    {
        const QByteArray name = "bench" + QByteArray::number(++m_statements);
        Result res(PQprepare(m_conn, name.constData(), sql.toUtf8().constData(), parameters, nullptr));
        if (!res.ok()) {
            failed();
            return QByteArray();
        }
        return name;
    }

    static void read(PGresult* res, RowList& rows)
    {
        const int columns = PQnfields(res);
        QStringList names;
        QVector<Oid> types;
        for (int c = 0; c < columns; ++c) {
            names.append(QString::fromUtf8(PQfname(res, c)));
            types.append(PQftype(res, c));
        }
        const int count = PQntuples(res);
        for (int r = 0; r < count; ++r) {
            Row row;
            row.reserve(columns);
            for (int c = 0; c < columns; ++c) {
                QVariant value;
                if (!PQgetisnull(res, r, c)) {
                    const char* text = PQgetvalue(res, r, c);
                    switch (types[c]) {
                    case int4Oid:
                        value = std::atoi(text);
                        break;
                    case int8Oid:
                        value = qlonglong(std::atoll(text));
                        break;
                    case float8Oid:
                        value = std::strtod(text, nullptr);
                        break;
                    case timestampOid:
                        value = QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate);
                        break;
                    case textOid:
                    case varcharOid:
                    default:
                        value = QString::fromUtf8(text, PQgetlength(res, r, c));
                    }
                }
                row.insert(names[c], value);
            }
            rows.append(row);
        }
    }

    PGconn* m_conn = nullptr;
    int m_statements = 0;
};

} // namespace

std::unique_ptr<Contender> makeLibpq()
{
    return std::make_unique<Libpq>();
}

} // namespace Bench
