#ifndef TESSARK_CORE_LISTSTATEMENTS_P_H
#define TESSARK_CORE_LISTSTATEMENTS_P_H

class QSqlDatabase;

namespace Tessark {

struct BoundStatement;

// A list call's bound statements run through the database's own client
// rather than the Qt driver, whose prepared query costs a variant per value
// and re-reads its result's columns on every execution. Lives for one call
// on one thread, so its statements never outlive the connection.
class ListStatements
{
public:
    virtual ~ListStatements() = default;
    // Runs bound with its values as the texts they are. false: it failed, or
    // the client cannot take it; the caller undoes and runs the texts.
    virtual bool run(const BoundStatement& bound) = 0;
};

} // namespace Tessark

#endif // TESSARK_CORE_LISTSTATEMENTS_P_H
