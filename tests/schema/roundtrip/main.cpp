// One row through record classes generated from a live table: insert it with
// ExtendHandle, read it back into the generated class, update it, and copy it
// through the generated stream operators. Exit 0 when every check holds.
#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QTextStream>

#include "gensample.h"
#include "gensamplelite.h"
#include "handle/extendhandle.h"
#include "tool/tessarktool.h"

namespace {

int failures = 0;

void report(const QString& text)
{
    QTextStream(stderr) << text << '\n';
}

template <class T>
void checkEqual(const T& actual, const T& expected, const char* what, int line)
{
    if (!(actual == expected) && ++failures)
        report(QStringLiteral("line %1: %2 is %3, expected %4")
               .arg(line)
               .arg(QLatin1String(what), QVariant::fromValue(actual).toString(), QVariant::fromValue(expected).toString()));
}

#define CHECK(cond) checkEqual(bool(cond), true, #cond, __LINE__)
#define CHECK_EQ(actual, expected) checkEqual<decltype(actual)>((actual), (expected), #actual, __LINE__)

// Any warning from Qt or the library is a failure.
void messageHandler(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    failures += type != QtDebugMsg && type != QtInfoMsg;
    report(message);
}

// What an application does with a result row: copy it into its record by property name.
void fill(QObject* record, const Row& row)
{
    for (auto it = row.constBegin(); it != row.constEnd(); ++it) {
        QVariant value = it.value();
        // SQLite hands date-times back as "yyyy-MM-dd HH:mm:ss.zzz" text.
        const int type = record->property(it.key().toUtf8()).userType();
        if (type == QMetaType::QDateTime && value.userType() == QMetaType::QString)
            value = QDateTime::fromString(value.toString(), QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
        record->setProperty(it.key().toUtf8(), value);
    }
}

const QDateTime created(QDate(2024, 8, 12), QTime(9, 5, 3, 7));

void checkSample(const GenSample& actual, qint64 id, const QString& name)
{
    CHECK_EQ(qint64(actual.id), id);
    CHECK_EQ(actual.name, name);
    CHECK_EQ(actual.score, 1.25);
    CHECK_EQ(actual.weight, 2.5f);
    CHECK_EQ(actual.created, created);
    CHECK_EQ(actual.total, decltype(actual.total)(1234567));
    CHECK_EQ(actual.small, decltype(actual.small)(7));
#ifdef ROUNDTRIP_POSTGRESQL
    CHECK_EQ(actual.amount, 42);
#endif
}

// Reads the one row by's key selects into into.
template <class R>
void readBack(ExtendHandle& handle, R* by, QObject* into)
{
    const RowList rows = handle.Query(by);
    CHECK_EQ(rows.size(), 1);
    fill(into, rows.value(0));
}

void roundTrip(ExtendHandle& handle, const QString& table)
{
    GenSample sample, stored, updated, copy;
    CHECK_EQ(sample.property("TableName").toString(), table);
    CHECK_EQ(sample.property("Key").toString(), QStringLiteral("id"));
    sample.name = QString::fromUtf8("Ann \xC3\xBC \xE4\xB8\xAD");
    sample.score = 1.25;
    sample.weight = 2.5f;
    sample.created = created;
    sample.total = 1234567;
    sample.small = 7;
#ifdef ROUNDTRIP_POSTGRESQL
    sample.amount = 42;
    const int columns = 8;
#else
    const int columns = 7;
#endif
    CHECK_EQ(GenSample::staticMetaObject.propertyCount() - GenSample::staticMetaObject.propertyOffset(), columns);
    CHECK(handle.Insert(&sample, true));
    CHECK(sample.id > 0);
    readBack(handle, &sample, &stored);
    checkSample(stored, sample.id, sample.name);
    CHECK(stored == sample);

    stored.name = QStringLiteral("Bob");
    CHECK(handle.Update(&stored));
    readBack(handle, &sample, &updated);
    checkSample(updated, sample.id, QStringLiteral("Bob"));

    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << updated;
    QDataStream in(bytes);
    in >> copy;
    CHECK(out.status() == QDataStream::Ok && in.status() == QDataStream::Ok && in.atEnd());
    checkSample(copy, sample.id, QStringLiteral("Bob"));

    // The header-only class without a key reads the same table.
    GenSampleLite lite;
    CHECK_EQ(lite.property("TableName").toString(), table);
    CHECK(lite.property("Key").toString().isEmpty());
    readBack(handle, &lite, &lite);
    CHECK_EQ(lite.id, sample.id);
    CHECK_EQ(lite.name, QStringLiteral("Bob"));
    CHECK_EQ(lite.created, created);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler(messageHandler);
    // Usage: roundtrip <connection.ini>; without one the connection fails.
    QSettings settings(app.arguments().value(1), QSettings::IniFormat);
    const QString logs = QFileInfo(app.arguments().value(1)).absolutePath() + QStringLiteral("/log");
    QDir().mkpath(logs);
    TessarkTool::SetLogPath(logs);

    const short type = short(settings.value("type").toInt());
    const QString database = settings.value("database").toString();
    {
        ExtendHandle handle(nullptr);
        const QString tag = QStringLiteral("roundtrip");
        handle.InitInfo(type == 2 ? ConnInfoModel(type, database, tag)
                                  : ConnInfoModel(type, settings.value("host").toString(), settings.value("port").toInt(),
                                                  settings.value("user").toString(),
                                                  settings.value("password").toString(), database, tag));
        CHECK(handle.InitConnect());
        if (failures == 0)
            roundTrip(handle, settings.value("table").toString());
        handle.Close();
    }

    for (const QFileInfo& log : QDir(logs).entryInfoList(QDir::Files)) {
        ++failures;
        QFile file(log.absoluteFilePath());
        if (file.open(QIODevice::ReadOnly))
            report(QStringLiteral("library log %1:\n%2").arg(log.fileName(), QString::fromUtf8(file.readAll())));
    }
    report(failures ? QStringLiteral("round trip FAILED (%1)").arg(failures) : QStringLiteral("round trip passed"));
    return failures ? 1 : 0;
}
