#include "oracle/oraclehelp.h"

#include <QSqlDatabase>

#include "core/lostconnection.h"

namespace {
const Tessark::ConnectionTraits backend = {
    /* driver */ "QOCI",
    /* displayName */ "Oracle",
    /* type */ 1,
    /* initialName */ "defaultOracle",
    /* idBatchBeginFailure */ nullptr,
    /* failedCommitEndsTransaction */ false,
    /* connectionLost */ Tessark::oracleConnectionLost,
};
}

OracleHelp::OracleHelp() : ServerConnection(backend) {}

QString OracleHelp::connectDatabaseName() const
{
    return QStringLiteral("%1:%2/%3").arg(m_host, QString::number(m_port), m_databaseName);
}

void OracleHelp::configure(QSqlDatabase& db) const
{
    // Oracle takes the server address inside the database name, not as host and port.
    db.setUserName(m_userName);
    db.setPassword(m_password);
    db.setDatabaseName(connectDatabaseName());
}
