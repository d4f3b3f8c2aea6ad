#include "connectionurl.h"

#include <QUrl>

#include "Model/types.h"

namespace ConnectionUrl {

namespace {

const QString urlForms = QStringLiteral("use sqlite:PATH, postgresql://USER@HOST:PORT/DB, "
                                        "mysql://USER@HOST:PORT/DB or oracle://USER@HOST:PORT/SERVICE");

struct ServerKind
{
    const char* scheme;
    Tessark::Kind kind;
    int defaultPort;
    const char* databaseWord;
};

const ServerKind serverKinds[] = {
    {"postgresql", Tessark::Kind::PostgreSQL, 5432, "DB"},
    {"postgres", Tessark::Kind::PostgreSQL, 5432, "DB"},
    {"mysql", Tessark::Kind::MySQL, 3306, "DB"},
    {"mariadb", Tessark::Kind::MySQL, 3306, "DB"},
    {"oracle", Tessark::Kind::Oracle, 1521, "SERVICE"},
};

Parsed refused(const QString& error)
{
    Parsed parsed;
    parsed.error = error;
    return parsed;
}

} // namespace

Parsed parse(const QString& text, const QString& tag)
{
    Parsed parsed;
    const QString sqlitePrefix = QStringLiteral("sqlite:");
    if (text.startsWith(sqlitePrefix, Qt::CaseInsensitive)) {
        const QString path = text.mid(sqlitePrefix.size());
        if (path.isEmpty())
            return refused(QStringLiteral("\"%1\" names no file; write sqlite:PATH, as in sqlite:shop.db").arg(text));
        parsed.info = ConnInfoModel(DbType(Tessark::Kind::SQLite), path, tag);
        parsed.display = sqlitePrefix + path;
        return parsed;
    }

    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        // Qt's text goes on to repeat the URL; its first clause says what is wrong.
        return refused(QStringLiteral("\"%1\" is not a valid URL (%2); %3")
                               .arg(text, url.errorString().section(QLatin1Char(';'), 0, 0), urlForms));
    if (url.scheme().isEmpty()) {
        return refused(QStringLiteral("\"%1\" is not a connection URL; %2 (a SQLite file needs the prefix: sqlite:%1)")
                               .arg(text, urlForms));
    }
    const QString scheme = url.scheme().toLower();
    const ServerKind* kind = nullptr;
    for (const ServerKind& candidate : serverKinds) {
        if (scheme == QLatin1String(candidate.scheme))
            kind = &candidate;
    }
    if (!kind)
        return refused(QStringLiteral("\"%1\": unknown database kind \"%2\"; %3").arg(text, url.scheme(), urlForms));
    const QString form = QStringLiteral("%1://USER@HOST:PORT/%2").arg(scheme, QLatin1String(kind->databaseWord));
    if (url.host().isEmpty())
        return refused(QStringLiteral("\"%1\" names no host; write %2").arg(text, form));
    if (url.userName().isEmpty())
        return refused(QStringLiteral("\"%1\" names no user; write %2").arg(text, form));
    const QString database = url.path(QUrl::FullyDecoded).mid(1);
    if (database.isEmpty() || database.contains(QLatin1Char('/')))
        return refused(QStringLiteral("\"%1\" needs one %2 name after the host; write %3")
                               .arg(text, QLatin1String(kind->databaseWord), form));
    if (url.hasQuery() || url.hasFragment())
        return refused(QStringLiteral("\"%1\": options after \"?\" or \"#\" are not understood; write %2").arg(text, form));
    const int port = url.port(kind->defaultPort);
    if (port <= 0)
        return refused(QStringLiteral("\"%1\": port %2 is not usable; write %3").arg(text).arg(port).arg(form));

    QUrl shown = url;
    shown.setPassword(QString());
    shown.setPort(port);
    parsed.display = shown.toString();
    parsed.passwordInUrl = !url.password(QUrl::FullyDecoded).isEmpty();
    parsed.info = ConnInfoModel(DbType(kind->kind), url.host(), port, url.userName(QUrl::FullyDecoded),
                                url.password(QUrl::FullyDecoded), database, tag);
    return parsed;
}

} // namespace ConnectionUrl
