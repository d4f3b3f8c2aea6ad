// SQLite's own C API: prepared statements stepped directly, the practical limit.
// Rows are read into the same hashes the library returns.

#include <sqlite3.h>

#include "bench.h"

namespace Bench {
namespace {

class Statement
{
public:
    Statement(sqlite3* db, const QString& sql)
    {
        const QByteArray text = sql.toUtf8();
        sqlite3_prepare_v2(db, text.constData(), text.size(), &m_stmt, nullptr);
    }
    ~Statement() { sqlite3_finalize(m_stmt); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    sqlite3_stmt* get() const { return m_stmt; }
    explicit operator bool() const { return m_stmt != nullptr; }

    void text(int index, const std::string& value)
    {
        sqlite3_bind_text(m_stmt, index, value.data(), int(value.size()), SQLITE_STATIC);
    }
    // Steps to the end; true when done without error.
    bool run()
    {
        const int rc = sqlite3_step(m_stmt);
        sqlite3_reset(m_stmt);
        return rc == SQLITE_DONE;
    }

private:
    sqlite3_stmt* m_stmt = nullptr;
};

class SqliteApi : public Contender
{
public:
    QString key() const override { return QStringLiteral("c_api"); }
    bool supports(Scenario scenario) const override { return scenario != Scenario::Build; }

    bool open(const Workload& w) override
    {
        if (sqlite3_open_v2(w.target.file.toUtf8().constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
            return failed();
        sqlite3_busy_timeout(m_db, 5000);
        return true;
    }

    void close() override
    {
        sqlite3_close(m_db);
        m_db = nullptr;
    }

    bool run(Scenario scenario, Workload& w) override
    {
        const QString& t = w.writeTable;
        switch (scenario) {
        case Scenario::Insert: {
            Statement st(m_db, QStringLiteral("INSERT INTO %1 (username, score, born) VALUES (?, ?, ?)").arg(t));
            if (!st)
                return failed();
            w.ids.resize(size_t(w.count));
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& r = w.plain[size_t(i)];
                st.text(1, r.name);
                sqlite3_bind_double(st.get(), 2, r.score);
                st.text(3, r.born);
                if (!st.run())
                    return failed();
                w.ids[size_t(i)] = sqlite3_last_insert_rowid(m_db);
            }
            return true;
        }
        case Scenario::InsertList:
        case Scenario::Import: {
            if (!exec("BEGIN"))
                return failed();
            Statement st(m_db, QStringLiteral("INSERT INTO %1 (id, username, score, born) VALUES (?, ?, ?, ?)").arg(t));
            if (!st)
                return failed();
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& r = w.plain[size_t(i)];
                sqlite3_bind_int(st.get(), 1, r.id);
                st.text(2, r.name);
                sqlite3_bind_double(st.get(), 3, r.score);
                st.text(4, r.born);
                if (!st.run())
                    return failed();
            }
            return exec("COMMIT") || failed();
        }
        case Scenario::Update:
        case Scenario::UpdateList: {
            const bool batch = scenario == Scenario::UpdateList;
            if (batch && !exec("BEGIN"))
                return failed();
            Statement st(m_db, QStringLiteral("UPDATE %1 SET username = ?, score = ?, born = ? WHERE id = ?").arg(t));
            if (!st)
                return failed();
            for (int i = 0; i < w.count; ++i) {
                const PlainRow& r = w.plain[size_t(i)];
                st.text(1, r.name);
                sqlite3_bind_double(st.get(), 2, r.score);
                st.text(3, r.born);
                sqlite3_bind_int(st.get(), 4, r.id);
                if (!st.run())
                    return failed();
            }
            return !batch || exec("COMMIT") || failed();
        }
        case Scenario::Query: {
            Statement st(m_db, QStringLiteral("SELECT * FROM %1").arg(w.readTable));
            if (!st)
                return failed();
            RowList rows;
            if (!read(st, rows))
                return false;
            w.rowsRead = rows.size();
            return true;
        }
        case Scenario::Page: {
            Statement page(m_db, QStringLiteral("SELECT * FROM %1 LIMIT ? OFFSET ?").arg(w.readTable));
            Statement count(m_db, QStringLiteral("SELECT COUNT(*) FROM %1").arg(w.readTable));
            if (!page || !count)
                return failed();
            w.rowsRead = 0;
            for (int i = 0; i < w.pageLoops; ++i) {
                sqlite3_bind_int(page.get(), 1, w.pageSize);
                sqlite3_bind_int(page.get(), 2, w.pageOffset);
                RowList rows;
                if (!read(page, rows))
                    return false;
                w.rowsRead += rows.size();
                if (sqlite3_step(count.get()) != SQLITE_ROW)
                    return failed();
                w.counted = sqlite3_column_int64(count.get(), 0);
                sqlite3_reset(count.get());
            }
            return true;
        }
        case Scenario::Build:
            break;
        }
        return false;
    }

private:
    bool exec(const char* sql) { return sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) == SQLITE_OK; }

    bool failed() { return fail(QString::fromUtf8(sqlite3_errmsg(m_db))); }

    bool read(Statement& st, RowList& rows)
    {
        const int columns = sqlite3_column_count(st.get());
        QStringList names;
        for (int c = 0; c < columns; ++c)
            names.append(QString::fromUtf8(sqlite3_column_name(st.get(), c)));
        int rc;
        while ((rc = sqlite3_step(st.get())) == SQLITE_ROW) {
            Row row;
            row.reserve(columns);
            for (int c = 0; c < columns; ++c) {
                QVariant value;
                switch (sqlite3_column_type(st.get(), c)) {
                case SQLITE_INTEGER:
                    value = qlonglong(sqlite3_column_int64(st.get(), c));
                    break;
                case SQLITE_FLOAT:
                    value = sqlite3_column_double(st.get(), c);
                    break;
                case SQLITE_NULL:
                    break;
                default:
                    value = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st.get(), c)),
                                              sqlite3_column_bytes(st.get(), c));
                }
                row.insert(names[c], value);
            }
            rows.append(row);
        }
        sqlite3_reset(st.get());
        return rc == SQLITE_DONE || failed();
    }

    sqlite3* m_db = nullptr;
};

} // namespace

std::unique_ptr<Contender> makeSqliteApi()
{
    return std::make_unique<SqliteApi>();
}

} // namespace Bench
