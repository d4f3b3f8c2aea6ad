#include "mysql/mysqlhelp.h"

namespace {
const Tessark::ConnectionTraits backend = {
    "QMYSQL", "MySql", 3, "defaultMySql",
    "MySql执行SQL语出创建失败，请检查驱动版本是否正确\n", false};
}

MySqlHelp::MySqlHelp() : ServerConnection(backend) {}
