#include "sqlite/sqlitestatements_p.h"

#include <QHash>
#include <QSqlDatabase>
#include <QString>
#include <QVariant>
#include <QVector>

#include <vector>

#include "core/clientlibrary_p.h"
#include "core/dialect.h"
#include "core/liststatements_p.h"

namespace Tessark {
namespace {

constexpr int sqliteOk = 0;
constexpr int sqliteRow = 100;
constexpr int sqliteDone = 101;

struct Api
{
    int (*prepare16)(void*, const void*, int, void**, const void**) = nullptr;
    int (*bindText)(void*, int, const char*, int, void (*)(void*)) = nullptr;
    int (*bindText16)(void*, int, const void*, int, void (*)(void*)) = nullptr;
    int (*bindNull)(void*, int) = nullptr;
    int (*step)(void*) = nullptr;
    int (*reset)(void*) = nullptr;
    int (*finalize)(void*) = nullptr;

    bool find(const QSqlDriver* driver)
    {
        using ClientLibrary::resolve;
        return resolve(prepare16, driver, "sqlite3_prepare16_v2") && resolve(bindText, driver, "sqlite3_bind_text")
               && resolve(bindText16, driver, "sqlite3_bind_text16") && resolve(bindNull, driver, "sqlite3_bind_null")
               && resolve(step, driver, "sqlite3_step") && resolve(reset, driver, "sqlite3_reset")
               && resolve(finalize, driver, "sqlite3_finalize");
    }
};

class SqliteStatements final : public ListStatements
{
public:
    SqliteStatements(const Api& api, void* handle) : m_api(api), m_handle(handle) {}
    ~SqliteStatements() override
    {
        for (void* statement : qAsConst(m_statements))
            m_api.finalize(statement);
    }

    bool run(const BoundStatement& bound) override
    {
        void* statement = prepared(bound.shape);
        if (!statement)
            return false;
        // ASCII is the same bytes in UTF-8, which SQLite takes as they are;
        // other text goes as UTF-16, so that SQLite's own conversion (the
        // one the statement's text goes through) decides every character.
        m_bytes.clear();
        m_ascii.clear();
        for (const QVariant& value : bound.values) {
            if (value.isNull()) {
                m_ascii.append(-1);
                continue;
            }
            if (value.userType() != QMetaType::QString)
                return false;
            const QString& text = *static_cast<const QString*>(value.constData());
            const std::size_t at = m_bytes.size();
            m_bytes.resize(at + std::size_t(text.size()));
            const ushort* from = text.utf16();
            char* to = m_bytes.data() + at;
            ushort all = 0;
            for (int c = 0; c < text.size(); ++c) {
                all |= from[c];
                to[c] = char(from[c]);
            }
            if (all >= 0x80)
                m_bytes.resize(at);
            m_ascii.append(all >= 0x80 ? -1 : int(at));
        }
        for (int i = 0; i < bound.values.size(); ++i) {
            const QVariant& value = bound.values.at(i);
            if (value.isNull()) {
                if (m_api.bindNull(statement, i + 1) != sqliteOk)
                    return false;
                continue;
            }
            const QString& text = *static_cast<const QString*>(value.constData());
            // Values outlive the step, so SQLite need not copy them (SQLITE_STATIC).
            const int rc = m_ascii.at(i) < 0
                               ? m_api.bindText16(statement, i + 1, text.utf16(), int(text.size() * 2), nullptr)
                               // never a null pointer: that binds NULL, not ''
                               : m_api.bindText(statement, i + 1, text.isEmpty() ? "" : m_bytes.data() + m_ascii.at(i),
                                                int(text.size()), nullptr);
            if (rc != sqliteOk)
                return false;
        }
        int rc;
        while ((rc = m_api.step(statement)) == sqliteRow) {
        }
        m_api.reset(statement);
        return rc == sqliteDone;
    }

private:
    void* prepared(const QString& shape)
    {
        auto it = m_statements.constFind(shape);
        if (it != m_statements.constEnd())
            return it.value();
        void* statement = nullptr;
        if (m_api.prepare16(m_handle, shape.utf16(), int(shape.size() * 2), &statement, nullptr) != sqliteOk
            || !statement) {
            if (statement)
                m_api.finalize(statement);
            return nullptr;
        }
        m_statements.insert(shape, statement);
        return statement;
    }

    const Api m_api;
    void* const m_handle;
    QHash<QString, void*> m_statements;
    std::vector<char> m_bytes;  // the ASCII values' bytes, one after another
    QVector<int> m_ascii;       // each value's offset in m_bytes; -1: NULL or not ASCII
};

} // namespace

ListStatements* newSqliteStatements(QSqlDatabase& db)
{
    void* handle = ClientLibrary::handle(db.driver());
    Api api;
    if (!handle || !api.find(db.driver()))
        return nullptr;
    return new SqliteStatements(api, handle);
}

} // namespace Tessark
