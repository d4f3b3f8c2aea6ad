#include "tessarktest.h"

#include <QAtomicInt>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QSqlQuery>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <utility>


namespace TessarkTest {

namespace {

struct Expectation
{
    QtMsgType type;
    QString substring;
};

struct GuardState
{
    QMutex mutex;
    bool installed = false;
    QtMessageHandler previous = nullptr;
    QList<Expectation> expected;
    QStringList forbidden;
    QStringList unexpected;
};

GuardState& guard()
{
    // Leaked on purpose: worker threads may still log while statics are destroyed.
    static GuardState* state = new GuardState;
    return *state;
}

// Warnings and criticals are checked, other messages only for forbidden text.
QString typeName(QtMsgType type)
{
    return type == QtCriticalMsg ? QStringLiteral("critical")
           : type == QtWarningMsg ? QStringLiteral("warning")
                                  : QStringLiteral("message");
}

void guardHandler(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    GuardState& state = guard();
    QtMessageHandler previous;
    bool checked = type == QtWarningMsg || type == QtCriticalMsg;
    {
        QMutexLocker locker(&state.mutex);
        previous = state.previous;
        const bool forbidden = std::any_of(state.forbidden.cbegin(), state.forbidden.cend(),
                                           [&](const QString& f) { return text.contains(f); });
        checked = checked || forbidden;
        if (checked) {
            const auto met = [&](const Expectation& e) { return e.type == type && text.contains(e.substring); };
            const auto expected = std::find_if(state.expected.begin(), state.expected.end(), met);
            const bool absorbed = expected != state.expected.end();
            if (absorbed)
                state.expected.erase(expected);
            if (absorbed && !forbidden)
                return;
            state.unexpected.append((forbidden ? QStringLiteral("forbidden text in ") : QString()) + typeName(type)
                                    + QStringLiteral(": ") + text);
        }
    }

    // QtTest prints the message in its own format (outside our lock: it may log).
    if (previous)
        previous(type, context, text);

    // QtTest's result bookkeeping belongs to the main thread.
    QCoreApplication* app = QCoreApplication::instance();
    if (checked && QTest::currentTestFunction() && app && QThread::currentThread() == app->thread()) {
        const QByteArray why = "Unexpected Qt " + typeName(type).toUtf8() + ": " + text.toUtf8();
        QTest::qFail(why.constData(), context.file ? context.file : __FILE__, context.file ? context.line : __LINE__);
    }
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
    state.expected.append({type, substring});
}

void forbidInMessages(const QString& text)
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    state.forbidden.append(text);
}

QStringList takeUnmetExpectations()
{
    GuardState& state = guard();
    QMutexLocker locker(&state.mutex);
    QStringList unmet;
    for (const Expectation& e : qAsConst(state.expected))
        unmet.append(typeName(e.type) + QStringLiteral(" \"") + e.substring + QLatin1Char('"'));
    state.expected.clear();
    return unmet;
}

int finishTestRun(int qExecResult, int argc, char** argv)
{
    // Listing runs never reach initTestCase().
    const bool listing = std::any_of(argv + 1, argv + argc, [](const char* option) {
        return QByteArrayList{"-functions", "-datatags", "-help", "--help", "-h"}.contains(option);
    });

    int result = qExecResult;
    const auto fail = [&result](const QString& why, const QStringList& items) {
        std::fprintf(stderr, "FAIL! %s\n", qPrintable(why));
        for (const QString& item : items)
            std::fprintf(stderr, "  %s\n", qPrintable(item));
        result = result ? result : 1;
    };
    if (!guard().installed && !listing)
        fail(QStringLiteral("The Qt message guard was never installed: call "
                            "TessarkTest::installMessageGuard() in initTestCase()."), {});
    const QStringList unexpected = [] {
        QMutexLocker locker(&guard().mutex);
        return std::exchange(guard().unexpected, QStringList());
    }();
    if (!unexpected.isEmpty())
        fail(QStringLiteral("%1 unexpected Qt message(s):").arg(unexpected.size()), unexpected);
    const QStringList unmet = takeUnmetExpectations();
    if (!unmet.isEmpty())
        fail(QStringLiteral("%1 expected Qt message(s) never arrived:").arg(unmet.size()), unmet);
    return result;
}

RunEnvironment::RunEnvironment()
{
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        runtimeDir = std::make_unique<QTemporaryDir>(); // created 0700, as Qt requires
        if (runtimeDir->isValid())
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeDir->path()));
    }
}

// ---- LogFolder --------------------------------------------------------------

QString LogFolder::readAll() const
{
    QString text;
    const QDir dir(m_dir.path());
    for (const QString& name : dir.entryList({QStringLiteral("*.log")}, QDir::Files, QDir::Name)) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            text += QString::fromUtf8(file.readAll());
    }
    return text;
}

QStringList LogFolder::messages() const
{
    QStringList result = readAll().split(QStringLiteral("\n--------------------\n\n"));
    if (result.last().isEmpty()) // after the last separator; an unfinished entry stays
        result.removeLast();
    for (QString& entry : result)
        entry = entry.section(QLatin1Char('\n'), 1); // drops the stamp line
    return result;
}

// ---- Servers and files -----------------------------------------------------

Lookup lookupServer(Server server, ServerAddress* address, QString* message)
{
    const char* variable = server == Server::PostgreSQL ? "TESSARK_TEST_PG" : "TESSARK_TEST_MYSQL";
    const QString text = qEnvironmentVariable(variable).simplified();
    if (text.isEmpty()) {
        const bool required = qEnvironmentVariable("TESSARK_TEST_REQUIRE_SERVERS") == QLatin1String("1");
        *message = QStringLiteral("%1 is not set: run scripts/test, or `source scripts/servers.sh` first%2")
                       .arg(QLatin1String(variable),
                            required ? QStringLiteral(" (TESSARK_TEST_REQUIRE_SERVERS=1)") : QString());
        return required ? Lookup::Fail : Lookup::Skip;
    }
    QMap<QString, QString> values; // "key=value ..."
    for (const QString& pair : text.split(QLatin1Char(' ')))
        values.insert(pair.section(QLatin1Char('='), 0, 0), pair.section(QLatin1Char('='), 1));
    *address = {server, values.value("host"), values.value("port").toInt(), values.value("user"),
                values.value("password"), values.value("dbname")};
    if (address->host.isEmpty() || address->port <= 0 || address->port > 65535 || address->user.isEmpty()
        || address->dbname.isEmpty()) {
        *message = QStringLiteral("%1=\"%2\" is malformed: it needs host, port, user and dbname")
                       .arg(QLatin1String(variable), text);
        return Lookup::Fail;
    }
    return Lookup::Found;
}

QString uniqueName(const QString& prefix)
{
    static QAtomicInt counter;
    return QStringLiteral("%1_%2_%3").arg(prefix).arg(QCoreApplication::applicationPid()).arg(counter.fetchAndAddRelaxed(1));
}

QString readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

QMap<QString, QString> sqliteSchema(const QString& path)
{
    QMap<QString, QString> result;
    const QString name = uniqueName(QStringLiteral("inspect"));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery q(QStringLiteral("select name, sql from sqlite_master where name not like 'sqlite_%'"), db);
            while (q.next())
                result.insert(q.value(0).toString(), q.value(1).toString());
        }
    }
    QSqlDatabase::removeDatabase(name);
    return result;
}

} // namespace TessarkTest
