#ifndef TESSARK_TESTS_SUPPORT_TESSARKTEST_H
#define TESSARK_TESTS_SUPPORT_TESSARKTEST_H

// Shared helpers for the Tessark test executables:
//  - a Qt message guard: an unexpected warning or critical fails the run,
//  - a temporary log folder per test,
//  - the addresses of the throwaway database servers and raw connections to them.

#include <QApplication>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

namespace TessarkTest {

// ---- Message guard -------------------------------------------------------
//
// QTest::qExec installs its own message handler, so the guard must be
// installed from inside the run: call installMessageGuard() first thing in
// initTestCase(). From then on every warning and critical is checked against
// the expectations. An unexpected one is printed through QtTest, fails the
// running test function when it comes from the main thread, and always fails
// the executable (see TESSARK_TEST_MAIN). Use expectMessage() instead of
// QTest::ignoreMessage(): the guard sees messages before QtTest does.

void installMessageGuard();

// Expects one warning or critical of the given type containing the text
// (or matching the pattern). Each expectation absorbs one message.
void expectMessage(QtMsgType type, const QString& substring);
void expectMessage(QtMsgType type, const QRegularExpression& pattern);

// Absorbs every matching warning or critical for the rest of the run, however
// many arrive (none is fine too). Only for noise from the platform that a test
// cannot avoid, never for the library's own messages.
void tolerateMessage(QtMsgType type, const QRegularExpression& pattern);

// Expectations that no message has met yet; clears them.
QStringList takeUnmetExpectations();

// Unexpected messages recorded so far; clears them (for tests of the guard).
QStringList takeUnexpectedMessages();

// Called by TESSARK_TEST_MAIN after qExec: fails the run on unexpected
// messages, unmet expectations or a guard that was never installed.
int finishTestRun(int qExecResult, int argc, char** argv);

// Set up by TESSARK_TEST_MAIN before the application object exists: gives Qt a
// private runtime folder when XDG_RUNTIME_DIR is unset, so it does not warn.
class RunEnvironment
{
public:
    RunEnvironment();
    ~RunEnvironment();
    RunEnvironment(const RunEnvironment&) = delete;
    RunEnvironment& operator=(const RunEnvironment&) = delete;

private:
    QTemporaryDir* m_runtimeDir = nullptr;
};

// ---- Log folder -------------------------------------------------------------

// A fresh temporary folder set as the library's log folder for the lifetime
// of the object; the log folder is emptied again on destruction.
class LogFolder
{
public:
    LogFolder();
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    bool isValid() const;
    QString path() const;
    // Path of the log file for today's local date (may not exist).
    QString todayFile() const;
    // Text of today's log file; empty when there is none.
    QString readToday() const;
    // Text of every log file in the folder, in date order.
    QString readAll() const;
    // The messages of all entries, in order, without stamp line and separator.
    QStringList messages() const;

private:
    QTemporaryDir m_dir;
};

// ---- Database servers -------------------------------------------------------
//
// scripts/test (or `source scripts/servers.sh`) exports
//   TESSARK_TEST_PG    and TESSARK_TEST_MYSQL
// as "host=127.0.0.1 port=5433 user=tessark password= dbname=tessark_test"
// (space-separated key=value pairs; values contain no spaces; password may be empty).

enum class Server { PostgreSQL, MySQL };

struct ServerAddress
{
    Server server = Server::PostgreSQL;
    QString host;
    int port = 0;
    QString user;
    QString password;
    QString dbname;

    QString driver() const;       // "QPSQL" or "QMYSQL"
    QString displayName() const;  // "PostgreSQL" or "MySQL"
};

QString environmentVariable(Server server);

// Parses the key=value text. On failure returns false and says why in *error.
bool parseServerAddress(Server server, const QString& text, ServerAddress* address, QString* error);

enum class Lookup { Found, Skip, Fail };
// Reads the server's variable. Absent: Skip, or Fail when
// TESSARK_TEST_REQUIRE_SERVERS=1. Malformed: always Fail. *message says why.
Lookup lookupServer(Server server, ServerAddress* address, QString* message);

// A raw Qt connection to a test server under a unique connection name,
// for setting up and cleaning up. The connection is removed on destruction;
// do not keep QSqlDatabase copies beyond the object's lifetime.
class RawConnection
{
public:
    explicit RawConnection(const ServerAddress& address);
    ~RawConnection();
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    bool isOpen() const;
    QString connectionName() const;
    QSqlDatabase database() const;
    // The error of the last failed open or exec.
    QString lastError() const;
    // Runs one statement; false (and lastError()) on failure.
    bool exec(const QString& sql);
    // The first column of the first row of a query; invalid on failure.
    QVariant scalar(const QString& sql);

private:
    QString m_name;
    QString m_error;
};

// A name no other test run uses at the same time, for tables and files:
// prefix + process id + a counter.
QString uniqueName(const QString& prefix);

} // namespace TessarkTest

// Declares `address` (a TessarkTest::ServerAddress) for the given server, or
// skips/fails the current test function as lookupServer() decides.
#define TESSARK_REQUIRE_SERVER(kind, address)                                              \
    TessarkTest::ServerAddress address;                                                    \
    do {                                                                                   \
        QString tessarkWhy_;                                                               \
        switch (TessarkTest::lookupServer((kind), &address, &tessarkWhy_)) {               \
        case TessarkTest::Lookup::Found:                                                   \
            break;                                                                         \
        case TessarkTest::Lookup::Skip:                                                    \
            QSKIP(qPrintable(tessarkWhy_));                                                \
        case TessarkTest::Lookup::Fail:                                                    \
            QFAIL(qPrintable(tessarkWhy_));                                                \
        }                                                                                  \
    } while (false)

// Fails the current test function if an expectation set with expectMessage()
// has not been met; clears the expectations either way.
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

// main() for a test without widgets.
#define TESSARK_TEST_MAIN(TestClass) TESSARK_TEST_MAIN_IMPL(QCoreApplication, TestClass)

// main() for a test that shows widgets (runs on the offscreen platform under ctest).
#define TESSARK_TEST_GUI_MAIN(TestClass)                                                   \
    TESSARK_TEST_MAIN_IMPL(QApplication, TestClass)

#endif // TESSARK_TESTS_SUPPORT_TESSARKTEST_H
