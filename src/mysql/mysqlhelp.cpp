#include "mysql/mysqlhelp.h"

#include "core/lostconnection.h"

namespace {
const Tessark::ConnectionTraits backend = {
    /* driver */ "QMYSQL",
    /* displayName */ "MySql",
    /* type */ 3,
    /* initialName */ "defaultMySql",
    /* idBatchBeginFailure */ "MySql执行SQL语出创建失败，请检查驱动版本是否正确\n",
    /* failedCommitEndsTransaction */ false,
    /* connectionLost */ Tessark::mysqlConnectionLost,
};
}

MySqlHelp::MySqlHelp() : ServerConnection(backend) {}
