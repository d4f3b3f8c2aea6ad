#ifndef TESSARK_TESTS_SUPPORT_TESSARKTEST_H
#define TESSARK_TESTS_SUPPORT_TESSARKTEST_H

// Shared by the test executables: a guard that fails the run on stray Qt
// warnings, a temporary log folder, and the throwaway database servers.

#include <QApplication>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "tool/tessarktool.h"

namespace TessarkTest {

// ---- Message guard -------------------------------------------------------
//
// QTest::qExec installs its own handler, so call installMessageGuard() first
// thing in initTestCase(). An unexpected warning or critical then fails the
// running test function (when emitted on the main thread) and always the
// executable. Use expectMessage(), not QTest::ignoreMessage(): the guard sees
// messages before QtTest does.

void installMessageGuard();

// Each expectation absorbs one warning or critical of that type containing the text.
void expectMessage(QtMsgType type, const QString& substring);

// Any message (of any type, expected or not) containing text is unexpected,
// for the rest of the run: for secrets that must never be shown.
void forbidInMessages(const QString& text);

// What expectMessage() set up and no message met; clears it.
QStringList takeUnmetExpectations();

// Fails the run on unexpected messages, unmet expectations or a guard never installed.
int finishTestRun(int qExecResult, int argc, char** argv);

// Gives Qt a private runtime folder when XDG_RUNTIME_DIR is unset, so it does
// not warn; must exist before the application object.
struct RunEnvironment
{
    RunEnvironment();
    std::unique_ptr<QTemporaryDir> runtimeDir;
};

// ---- Log folder -------------------------------------------------------------

// A fresh temporary folder set as the library's log folder while the object lives.
class LogFolder
{
public:
    LogFolder()
    {
        if (m_dir.isValid())
            TessarkTool::SetLogPath(m_dir.path());
    }
    ~LogFolder() { TessarkTool::SetLogPath(QString()); }

    bool isValid() const { return m_dir.isValid(); }
    QString path() const { return m_dir.path(); }
    // Every log file's text, in date order.
    QString readAll() const;
    // The entries' messages, in order, without stamp line and separator.
    QStringList messages() const;

private:
    QTemporaryDir m_dir;
};

// ---- Database servers -------------------------------------------------------
//
// scripts/test (or `source scripts/servers.sh`) exports TESSARK_TEST_PG and
// TESSARK_TEST_MYSQL as "host=127.0.0.1 port=5433 user=tessark password= dbname=tessark_test".

enum class Server { PostgreSQL, MySQL };

struct ServerAddress
{
    Server server = Server::PostgreSQL;
    QString host;
    int port = 0;
    QString user;
    QString password;
    QString dbname;
};

enum class Lookup { Found, Skip, Fail };
// An unset variable is Skip, or Fail under TESSARK_TEST_REQUIRE_SERVERS=1; a
// malformed one is Fail. *message says why.
Lookup lookupServer(Server server, ServerAddress* address, QString* message);

// prefix + process id + a counter: unique among concurrent test runs.
QString uniqueName(const QString& prefix);

// A file's text (empty when unreadable), and a file replaced by bytes.
QString readFile(const QString& path);
bool writeFile(const QString& path, const QByteArray& bytes);
// name -> sql of every table and index of a SQLite file, read on a connection of its own.
QMap<QString, QString> sqliteSchema(const QString& path);

} // namespace TessarkTest

// Declares `address` for the server, or skips/fails the test as lookupServer() decides.
#define TESSARK_REQUIRE_SERVER(kind, address)                                              \
    TessarkTest::ServerAddress address;                                                    \
    do {                                                                                   \
        QString tessarkWhy_;                                                               \
        const auto tessarkFound_ = TessarkTest::lookupServer((kind), &address, &tessarkWhy_); \
        if (tessarkFound_ == TessarkTest::Lookup::Skip)                                    \
            QSKIP(qPrintable(tessarkWhy_));                                                \
        if (tessarkFound_ == TessarkTest::Lookup::Fail)                                    \
            QFAIL(qPrintable(tessarkWhy_));                                                \
    } while (false)

// Fails the test function on unmet expectMessage() expectations, and clears them.
#define TESSARK_VERIFY_EXPECTED_MESSAGES()                                                 \
    do {                                                                                   \
        const QStringList tessarkUnmet_ = TessarkTest::takeUnmetExpectations();            \
        QVERIFY2(tessarkUnmet_.isEmpty(),                                                  \
                 qPrintable(QStringLiteral("expected message(s) never arrived: ")          \
                            + tessarkUnmet_.join(QStringLiteral("; "))));                  \
    } while (false)

#define TESSARK_TEST_MAIN_IMPL(AppClass, TestClass)                                        \
    int main(int argc, char** argv)                                                        \
    {                                                                                      \
        TessarkTest::RunEnvironment tessarkEnvironment_;                                   \
        AppClass app(argc, argv);                                                          \
        TestClass tc;                                                                      \
        QTEST_SET_MAIN_SOURCE_PATH                                                         \
        return TessarkTest::finishTestRun(QTest::qExec(&tc, argc, argv), argc, argv);      \
    }

#define TESSARK_TEST_MAIN(TestClass) TESSARK_TEST_MAIN_IMPL(QCoreApplication, TestClass)
// For tests that show widgets (offscreen under ctest).
#define TESSARK_TEST_GUI_MAIN(TestClass) TESSARK_TEST_MAIN_IMPL(QApplication, TestClass)

#endif // TESSARK_TESTS_SUPPORT_TESSARKTEST_H
