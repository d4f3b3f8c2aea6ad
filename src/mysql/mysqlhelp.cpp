#include "mysql/mysqlhelp.h"

namespace {
const Tessark::ConnectionTraits backend = {
    "QMYSQL", "MySql", 3, "defaultMySql",
    "MySql执行SQL语出创建失败，请检查驱动版本是否正确\n", false};
}

MySqlHelp::MySqlHelp() : ServerConnection(backend) {}

bool MySqlHelp::ExecutionList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                              bool continueOnError)
{
    return runBatch(sqls, &idQueries, &ids, continueOnError);
}

bool MySqlHelp::InsertList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                           bool continueOnError)
{
    return runBatch(sqls, &idQueries, &ids, continueOnError);
}
