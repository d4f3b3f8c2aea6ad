#include "sqlite/sqlitestatements_p.h"

#include <QByteArray>
#include <QHash>
#include <QSqlDatabase>
#include <QString>
#include <QVariant>
#include <QVector>

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
    SqliteStatements(const Api& api, void* handle) : m_api(api), m_handle(handle)
    {
        m_bytes.reserve(4096); // and kept: resize(0) frees a buffer that was never reserved
    }
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
        // Text goes as UTF-8, the database's own form, converted here; only text
        // with a lone surrogate goes as UTF-16, so that SQLite's conversion
        // (the one the statement's text goes through) decides it.
        m_bytes.resize(0);
        m_spans.resize(0);
        for (const QVariant& value : bound.values) {
            Span span;
            if (!value.isNull()) {
                if (value.userType() != QMetaType::QString)
                    return false;
                const QString& text = *static_cast<const QString*>(value.constData());
                span.at = m_bytes.size();
                if (appendUtf8(text))
                    span.size = m_bytes.size() - span.at;
                else if (text.startsWith(QChar(0xFEFF)))
                    return false; // SQLite would read it as the UTF-16's byte order
                else
                    span.at = -2;
            }
            m_spans.append(span);
        }
        for (int i = 0; i < bound.values.size(); ++i) {
            const Span& span = m_spans.at(i);
            int rc;
            // Values outlive the step, so SQLite need not copy them (SQLITE_STATIC).
            if (span.at == -1) {
                rc = m_api.bindNull(statement, i + 1);
            } else if (span.at == -2) {
                const QString& text = *static_cast<const QString*>(bound.values.at(i).constData());
                rc = m_api.bindText16(statement, i + 1, text.utf16(), int(text.size() * 2), nullptr);
            } else {
                // Never a null pointer: that binds NULL, not ''.
                const char* bytes = span.size == 0 ? "" : m_bytes.constData() + span.at;
                rc = m_api.bindText(statement, i + 1, bytes, span.size, nullptr);
            }
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

    // Appends text's UTF-8 to m_bytes; false, appending nothing, where text
    // holds a lone surrogate, which has no UTF-8.
    bool appendUtf8(const QString& text)
    {
        const int at = m_bytes.size();
        m_bytes.resize(at + text.size());
        const ushort* from = text.utf16();
        char* to = m_bytes.data() + at;
        ushort all = 0;
        for (int c = 0; c < text.size(); ++c) {
            all |= from[c];
            to[c] = char(from[c]);
        }
        if (all < 0x80)
            return true;
        m_bytes.resize(at);
        for (int c = 0; c < text.size(); ++c) {
            const QChar u = text.at(c);
            if (u.isHighSurrogate() && c + 1 < text.size() && text.at(c + 1).isLowSurrogate())
                ++c;
            else if (u.isSurrogate())
                return false;
        }
        m_bytes += text.toUtf8();
        return true;
    }

    struct Span
    {
        int at = -1; // in m_bytes; -1: NULL, -2: bound as UTF-16
        int size = 0;
    };

    const Api m_api;
    void* const m_handle;
    QHash<QString, void*> m_statements;
    QByteArray m_bytes;    // the values' UTF-8, one after another
    QVector<Span> m_spans; // each value's bytes
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

bool sqliteCommitsAlone(QSqlDatabase& db)
{
    int (*autocommit)(void*) = nullptr;
    void* handle = ClientLibrary::handle(db.driver());
    return handle && ClientLibrary::resolve(autocommit, db.driver(), "sqlite3_get_autocommit") && autocommit(handle);
}

} // namespace Tessark
