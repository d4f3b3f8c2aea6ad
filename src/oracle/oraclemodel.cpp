#include "oracle/oraclemodel.h"

#include <QDateTime>

#include "core/datetimetext_p.h"

namespace {
const Tessark::DialectTraits dialect = {
    /* quoteTables */ true,
    /* quoteColumns */ true,
    /* objectUpdateWhere */ " WHERE ",
    /* fieldUpdateKeyUpper */ true,
    /* fieldInsertTrailingBlank */ true,
    /* returningKey */ false,
    /* escapeBackslash */ false,
    /* quoteFieldDeleteValue */ true,
    /* tableRowKey */ "TABLE_NAME",
    /* columnRowKey */ "COLUMN_NAME",
    /* keyFromReturningRow */ true,
    /* lastIdHead */ "",
    /* fieldInsertReadsKey */ false,
    /* listsContinueOnError */ true,
    /* emptyInsertStoresDefaults */ false,
};
}

OracleModel::OracleModel() : PersistenceCore(dialect, m_help) {}

OracleModel::~OracleModel() = default;

QString OracleModel::GetQueryIndexSql(QString tableName, int offset, int count)
{
    return QStringLiteral("Select * From ") + QStringLiteral("(select a.*,rownum r from  (%1) a) ").arg(tableName)
           + QStringLiteral("where r>%1 and r<=%2").arg(offset).arg(offset + count);
}

QString OracleModel::GetTableSql()
{
    return QStringLiteral("SELECT A.TABLE_NAME, A.COMMENTS FROM USER_TAB_COMMENTS A ORDER BY A.TABLE_NAME ");
}

QString OracleModel::GetColumnSql(QString tableName)
{
    return QStringLiteral("SELECT A.TABLE_NAME, A.COLUMN_NAME, A.DATA_TYPE, A.DATA_LENGTH, A.DATA_PRECISION, "
                          "A.DATA_SCALE, B.COMMENTS FROM USER_TAB_COLUMNS A ")
           + QStringLiteral("LEFT JOIN USER_COL_COMMENTS B ON A.TABLE_NAME=B.TABLE_NAME AND "
                            "A.COLUMN_NAME=B.COLUMN_NAME ")
           + QStringLiteral("WHERE A.TABLE_NAME=%1 ORDER BY A.COLUMN_NAME").arg(quoted(tableName));
}

Tessark::SqlValue OracleModel::dateTimeValue(const QVariant& value) const
{
    const QString text = Tessark::dateTimeText(value.toDateTime(), false);
    return {QStringLiteral("to_date('%1', 'yyyy/mm/dd hh24:mi:ss')").arg(text), true};
}
