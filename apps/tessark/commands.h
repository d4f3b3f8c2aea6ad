#ifndef TESSARK_APPS_COMMANDS_H
#define TESSARK_APPS_COMMANDS_H

#include <QStringList>

// One function per command; args are what follows the command's name.
// Each returns the exit code or throws Cli::Exit.
namespace Cli {

int runDemo(const QStringList& args);
int runCreateDb(const QStringList& args);
int runGenModel(const QStringList& args);
int runTables(const QStringList& args);
int runColumns(const QStringList& args);
int runQuery(const QStringList& args);
int runExec(const QStringList& args);
int runDoctor(const QStringList& args);

// The help line every CONNECTION argument shares.
QString connectionHelp();

} // namespace Cli

#endif // TESSARK_APPS_COMMANDS_H
