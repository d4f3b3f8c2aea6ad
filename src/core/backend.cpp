#include "core/backend.h"

#include <QMutexLocker>

#include "core/connectioncore.h"
#include "core/rules.h"

namespace Tessark {

const BackendRules* rulesFor(DbType kind)
{
    switch (Kind(kind)) {
    case Kind::PostgreSQL:
        return &postgresqlRules;
    case Kind::Oracle:
        return &oracleRules;
    case Kind::SQLite:
        return &sqliteRules;
    case Kind::MySQL:
        return &mysqlRules;
    }
    return nullptr;
}

Backend::Backend(const BackendRules& rules)
    : m_rules(rules)
    , m_connection(rules.newConnection())
    , m_dialect(rules.dialect)
    , m_catalogue(rules.catalogue, *m_connection, m_dialect, m_executionLock)
    , m_persistence(rules.keys, *m_connection, m_dialect, m_catalogue, m_executionLock)
{
}

Backend::~Backend() = default;

void Backend::initInfo(const ConnInfoModel& info)
{
    QMutexLocker locker(&m_executionLock);
    m_connection->describe(info);
}

LastError Backend::lastError() const
{
    return m_connection->lastError();
}

std::unique_ptr<Backend> makeBackend(DbType kind)
{
    const BackendRules* rules = rulesFor(kind);
    return rules ? std::make_unique<Backend>(*rules) : nullptr;
}

std::unique_ptr<Backend> makeBackend(const ConnInfoModel& info)
{
    auto backend = makeBackend(info.Type);
    if (backend)
        backend->initInfo(info);
    return backend;
}

} // namespace Tessark
