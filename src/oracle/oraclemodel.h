#ifndef TESSARK_ORACLE_ORACLEMODEL_H
#define TESSARK_ORACLE_ORACLEMODEL_H

#include "core/backendobject.h"
#include "oracle/oraclehelp.h"

/// Oracle statement text (to_date values, rownum paging) and schema-name caches.
class BRELVANSHARED_EXPORT OracleModel : public Tessark::BackendObject
{
    Q_OBJECT
public:
    OracleModel();
    ~OracleModel() override;
};

#endif // TESSARK_ORACLE_ORACLEMODEL_H
