#include "tessarktest.h"

#include <QAtomicInt>
#include <QCoreApplication>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QMutex>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>

#include <cstdio>

#include "tool/tessarktool.h"

namespace TessarkTest {

namespace {

struct Expectation
{
    QtMsgType type;
    QString substring;          // used when pattern is empty
    QRegularExpression pattern;

    bool matches(QtMsgType t, const QString& text) const
    {
        if (t != type)
            return false;
        return pattern.pattern().isEmpty() ? text.contains(substring) : pattern.match(text).hasMatch();
    }

    QString describe() const
    {
        return pattern.pattern().isEmpty() ? QStringLiteral("\"%1\"").arg(substring)
                                           : QStringLiteral("/%1/").arg(pattern.pattern());
    }
};

struct GuardState
{
    QMutex mutex;
    bool installed = false;
    QtMessageHandler previous = nullptr;
    QList<Expectation> expected;
    QList<Expectation> tolerated;
    QStringList unexpected;
};

GuardState& guard()
{
    // Leaked on purpose: worker threads may still log while statics are destroyed.
    static GuardState* state = new GuardState;
    return *state;
}

const char* typeName(QtMsgType type)
{
    switch (type) {
    case QtWarningMsg: return "warning";
    case QtCriticalMsg: return "critical";
    case QtFatalMsg: return "fatal";
    case QtInfoMsg: return "info";
    case QtDebugMsg: return "debug";
    }
    return "message";
}

void guardHandler(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    GuardState& state = guard();
    bool unexpected = false;
    QtMessageHandler previous;
    {
        QMutexLocker locker(&state.mutex);
        previous = state.previous;
        if (type == QtWarningMsg || type == QtCriticalMsg) {
            bool absorbed = false;
            for (int i = 0; i < state.expected.size(); ++i) {
                if (state.expected.at(i).matches(type, text)) {
                    state.expected.removeAt(i);
                    absorbed = true;
                    break;
                }
            }
            for (const Expectation& t : qAsConst(state.tolerated))
                absorbed = absorbed || t.matches(type, text);
            if (absorbed)
                return;
            unexpected = true;
            state.unexpected.append(QStringLiteral("%1: %2").arg(QLatin1String(typeName(type)), text));
        }
    }

    // QtTest's handler prints the message in its own format (outside our lock:
    // it may itself log).
    if (previous)
        previous(type, context, text);

    // Attribute the failure to the running test function when that is safe:
    // QtTest's result bookkeeping belongs to the main thread.
    QCoreApplication* app = QCoreApplication::instance();
    if (unexpected && QTest::currentTestFunction() && app && QThread::currentThread() == app->thread()) {
        const QByteArray why = "Unexpected Qt " + QByteArray(typeName(type)) + ": " + text.toUtf8();
        QTest::qFail(why.constData(), context.file ? context.file : __FILE__, context.file ? context.line : __LINE__);
    }
}

bool isListingRun(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg == "-functions" || arg == "-datatags" || arg == "-help" || arg == "--help" || arg == "-h")
            return true;
    }
    return false;
}

} // namespace

void installMessageGuard()
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    QtMessageHandler previous = qInstallMessageHandler(guardHandler);
    if (previous != guardHandler) // installing twice keeps the first chain
        state.previous = previous;
    state.installed = true;
}

void expectMessage(QtMsgType type, const QString& substring)
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    state.expected.append(Expectation{type, substring, QRegularExpression()});
}

void expectMessage(QtMsgType type, const QRegularExpression& pattern)
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    state.expected.append(Expectation{type, QString(), pattern});
}

void tolerateMessage(QtMsgType type, const QRegularExpression& pattern)
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    state.tolerated.append(Expectation{type, QString(), pattern});
}

QStringList takeUnmetExpectations()
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    QStringList unmet;
    for (const Expectation& e : qAsConst(state.expected))
        unmet.append(QStringLiteral("%1 %2").arg(QLatin1String(typeName(e.type)), e.describe()));
    state.expected.clear();
    return unmet;
}

QStringList takeUnexpectedMessages()
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    QStringList taken;
    taken.swap(state.unexpected);
    return taken;
}

int finishTestRun(int qExecResult, int argc, char** argv)
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    int result = qExecResult;
    if (!state.installed && !isListingRun(argc, argv)) {
        std::fprintf(stderr, "FAIL! The Qt message guard was never installed: call "
                             "TessarkTest::installMessageGuard() in initTestCase().\n");
        result = result ? result : 1;
    }
    if (!state.unexpected.isEmpty()) {
        std::fprintf(stderr, "FAIL! %d unexpected Qt message(s):\n", int(state.unexpected.size()));
        for (const QString& m : qAsConst(state.unexpected))
            std::fprintf(stderr, "  %s\n", m.toLocal8Bit().constData());
        result = result ? result : 1;
    }
    if (!state.expected.isEmpty()) {
        std::fprintf(stderr, "FAIL! %d expected Qt message(s) never arrived:\n", int(state.expected.size()));
        for (const Expectation& e : qAsConst(state.expected))
            std::fprintf(stderr, "  %s %s\n", typeName(e.type), e.describe().toLocal8Bit().constData());
        result = result ? result : 1;
    }
    return result;
}

RunEnvironment::RunEnvironment()
{
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        m_runtimeDir = new QTemporaryDir; // created 0700, as Qt requires
        if (m_runtimeDir->isValid())
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtimeDir->path()));
    }
}

RunEnvironment::~RunEnvironment()
{
    delete m_runtimeDir;
}

// ---- LogFolder --------------------------------------------------------------

LogFolder::LogFolder()
{
    if (m_dir.isValid())
        TessarkTool::SetLogPath(m_dir.path());
}

LogFolder::~LogFolder()
{
    TessarkTool::SetLogPath(QString());
}

bool LogFolder::isValid() const
{
    return m_dir.isValid();
}

QString LogFolder::path() const
{
    return m_dir.path();
}

QString LogFolder::todayFile() const
{
    return m_dir.filePath(QLocale::c().toString(QDate::currentDate(), QStringLiteral("yyyy-MM-dd"))
                          + QStringLiteral(".log"));
}

static QString readUtf8(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

QString LogFolder::readToday() const
{
    return readUtf8(todayFile());
}

QString LogFolder::readAll() const
{
    QString text;
    const QStringList files = QDir(m_dir.path()).entryList({QStringLiteral("*.log")}, QDir::Files, QDir::Name);
    for (const QString& name : files)
        text += readUtf8(m_dir.filePath(name));
    return text;
}

QStringList LogFolder::messages() const
{
    const QString separator = QStringLiteral("\n--------------------\n\n");
    QStringList result;
    QString text = readAll();
    while (!text.isEmpty()) {
        int end = text.indexOf(separator);
        const QString entry = end < 0 ? text : text.left(end);
        text = end < 0 ? QString() : text.mid(end + separator.size());
        const int stampEnd = entry.indexOf(QLatin1Char('\n'));
        result.append(stampEnd < 0 ? QString() : entry.mid(stampEnd + 1));
    }
    return result;
}

// ---- Servers ----------------------------------------------------------------

QString ServerAddress::driver() const
{
    return server == Server::PostgreSQL ? QStringLiteral("QPSQL") : QStringLiteral("QMYSQL");
}

QString ServerAddress::displayName() const
{
    return server == Server::PostgreSQL ? QStringLiteral("PostgreSQL") : QStringLiteral("MySQL");
}

QString environmentVariable(Server server)
{
    return server == Server::PostgreSQL ? QStringLiteral("TESSARK_TEST_PG") : QStringLiteral("TESSARK_TEST_MYSQL");
}

bool parseServerAddress(Server server, const QString& text, ServerAddress* address, QString* error)
{
    ServerAddress parsed;
    parsed.server = server;
    bool seenHost = false, seenPort = false, seenUser = false, seenDb = false;
    const QStringList pairs = text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    for (const QString& pair : pairs) {
        const int eq = pair.indexOf(QLatin1Char('='));
        if (eq <= 0) {
            *error = QStringLiteral("\"%1\" is not key=value").arg(pair);
            return false;
        }
        const QString key = pair.left(eq);
        const QString value = pair.mid(eq + 1);
        if (key == QLatin1String("host")) {
            parsed.host = value;
            seenHost = !value.isEmpty();
        } else if (key == QLatin1String("port")) {
            bool ok = false;
            parsed.port = value.toInt(&ok);
            seenPort = ok && parsed.port > 0 && parsed.port < 65536;
            if (!seenPort) {
                *error = QStringLiteral("port \"%1\" is not a port number").arg(value);
                return false;
            }
        } else if (key == QLatin1String("user")) {
            parsed.user = value;
            seenUser = !value.isEmpty();
        } else if (key == QLatin1String("password")) {
            parsed.password = value;
        } else if (key == QLatin1String("dbname")) {
            parsed.dbname = value;
            seenDb = !value.isEmpty();
        } else {
            *error = QStringLiteral("unknown key \"%1\"").arg(key);
            return false;
        }
    }
    QStringList missing;
    if (!seenHost) missing << QStringLiteral("host");
    if (!seenPort) missing << QStringLiteral("port");
    if (!seenUser) missing << QStringLiteral("user");
    if (!seenDb) missing << QStringLiteral("dbname");
    if (!missing.isEmpty()) {
        *error = QStringLiteral("missing %1").arg(missing.join(QStringLiteral(", ")));
        return false;
    }
    *address = parsed;
    return true;
}

Lookup lookupServer(Server server, ServerAddress* address, QString* message)
{
    const QString variable = environmentVariable(server);
    const QString text = qEnvironmentVariable(variable.toLatin1().constData());
    if (text.trimmed().isEmpty()) {
        const bool required = qEnvironmentVariable("TESSARK_TEST_REQUIRE_SERVERS") == QLatin1String("1");
        *message = QStringLiteral("%1 is not set, so there is no %2 server to test against. Run scripts/test, "
                                  "or `source scripts/servers.sh` and run the test again.")
                           .arg(variable, server == Server::PostgreSQL ? QStringLiteral("PostgreSQL")
                                                                       : QStringLiteral("MySQL"));
        if (required)
            message->prepend(QStringLiteral("TESSARK_TEST_REQUIRE_SERVERS=1 but "));
        return required ? Lookup::Fail : Lookup::Skip;
    }
    QString error;
    if (!parseServerAddress(server, text, address, &error)) {
        *message = QStringLiteral("%1=\"%2\" is malformed: %3").arg(variable, text, error);
        return Lookup::Fail;
    }
    return Lookup::Found;
}

RawConnection::RawConnection(const ServerAddress& address)
    : m_name(uniqueName(QStringLiteral("tessark_test_raw")))
{
    QSqlDatabase db = QSqlDatabase::addDatabase(address.driver(), m_name);
    db.setHostName(address.host);
    db.setPort(address.port);
    db.setUserName(address.user);
    db.setPassword(address.password);
    db.setDatabaseName(address.dbname);
    if (!db.open())
        m_error = db.lastError().text();
}

RawConnection::~RawConnection()
{
    {
        QSqlDatabase db = QSqlDatabase::database(m_name, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(m_name);
}

bool RawConnection::isOpen() const
{
    return QSqlDatabase::database(m_name, false).isOpen();
}

QString RawConnection::connectionName() const
{
    return m_name;
}

QSqlDatabase RawConnection::database() const
{
    return QSqlDatabase::database(m_name, false);
}

QString RawConnection::lastError() const
{
    return m_error;
}

bool RawConnection::exec(const QString& sql)
{
    QSqlQuery query(database());
    if (query.exec(sql))
        return true;
    m_error = query.lastError().text();
    return false;
}

QVariant RawConnection::scalar(const QString& sql)
{
    QSqlQuery query(database());
    if (query.exec(sql) && query.first())
        return query.value(0);
    m_error = query.lastError().text();
    return QVariant();
}

QString uniqueName(const QString& prefix)
{
    static QAtomicInt counter;
    return QStringLiteral("%1_%2_%3").arg(prefix).arg(QCoreApplication::applicationPid()).arg(counter.fetchAndAddRelaxed(1));
}

} // namespace TessarkTest
