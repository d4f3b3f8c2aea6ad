#ifndef TESSARK_CORE_BACKEND_H
#define TESSARK_CORE_BACKEND_H

#include <QMutex>

#include <memory>

#include "brelvan_global.h"
#include "Model/conninfomodel.h"
#include "core/catalogue.h"
#include "core/lasterror.h"
#include "core/dialect.h"
#include "core/persistence.h"

namespace Tessark {

class ConnectionCore;
struct BackendRules;

// One database backend as a unit: its connection, the dialect that writes
// its text, the catalogue that caches its names and the record persistence
// over them, all made from the database's rules table.
class BRELVANSHARED_EXPORT Backend
{
public:
    explicit Backend(const BackendRules& rules);
    ~Backend();
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;

    // Sets what the connection reaches (under the execution lock); Type is not read.
    void initInfo(const ConnInfoModel& info);

    const BackendRules& rules() const { return m_rules; }
    ConnectionCore& connection() { return *m_connection; }
    const ConnectionCore& connection() const { return *m_connection; }
    const Dialect& dialect() const { return m_dialect; }
    Catalogue& catalogue() { return m_catalogue; }
    Persistence& persistence() { return m_persistence; }
    LastError lastError() const;

private:
    const BackendRules& m_rules;
    const std::unique_ptr<ConnectionCore> m_connection;
    QMutex m_executionLock; // serialises every statement this backend sends
    Dialect m_dialect;
    Catalogue m_catalogue;
    Persistence m_persistence;
};

// The one factory: a backend for info.Type, described by info; null for a
// kind that names no database.
BRELVANSHARED_EXPORT std::unique_ptr<Backend> makeBackend(const ConnInfoModel& info);
// The same, not yet described.
BRELVANSHARED_EXPORT std::unique_ptr<Backend> makeBackend(DbType kind);

} // namespace Tessark

#endif // TESSARK_CORE_BACKEND_H
