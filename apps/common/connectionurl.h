#ifndef TESSARK_APPS_CONNECTIONURL_H
#define TESSARK_APPS_CONNECTIONURL_H

// Connection URLs as the tessark tool and the example read them; shared so
// that both understand the same text and say the same thing when it is wrong.

#include <QString>

#include "Model/conninfomodel.h"

namespace ConnectionUrl {

struct Parsed
{
    ConnInfoModel info{0, QString(), QString()};
    QString display;            // the URL without any password
    bool passwordInUrl = false; // info.Password came from the URL itself
    QString error;              // why the text is no connection URL; empty when it is
};

// sqlite:PATH, postgresql://USER@HOST[:PORT]/DB, mysql://..., oracle://USER@HOST[:PORT]/SERVICE.
// The password is the URL's, if it has one; where else to get it is the caller's choice.
Parsed parse(const QString& text, const QString& tag);

} // namespace ConnectionUrl

#endif // TESSARK_APPS_CONNECTIONURL_H
