#include "postgresql/postgresqlstatements_p.h"

#include <QByteArray>
#include <QSqlDatabase>
#include <QVarLengthArray>

#include "core/clientlibrary_p.h"
#include "core/qtcompat_p.h"

namespace Tessark {

bool postgresqlCommitsAlone(QSqlDatabase& db)
{
    constexpr int idle = 0; // PQTRANS_IDLE
    int (*transactionStatus)(const void*) = nullptr;
    void* session = ClientLibrary::handle(db.driver());
    return session && ClientLibrary::resolve(transactionStatus, db.driver(), "PQtransactionStatus")
           && transactionStatus(session) == idle;
}

namespace {

struct Api
{
    void* (*execPrepared)(void*, const char*, int, const char* const*, const int*, const int*, int) = nullptr;
    int (*resultStatus)(const void*) = nullptr;
    void (*clear)(void*) = nullptr;
    const char* (*parameterStatus)(const void*, const char*) = nullptr;
    int (*clientEncoding)(const void*) = nullptr;
    int (*tuples)(const void*) = nullptr;
    int (*fields)(const void*) = nullptr;
    char* (*fieldName)(const void*, int) = nullptr;
    unsigned (*fieldType)(const void*, int) = nullptr;
    char* (*value)(const void*, int, int) = nullptr;
    int (*isNull)(const void*, int, int) = nullptr;

    bool find(const QSqlDriver* driver)
    {
        using ClientLibrary::resolve;
        return resolve(execPrepared, driver, "PQexecPrepared") && resolve(resultStatus, driver, "PQresultStatus")
               && resolve(clear, driver, "PQclear") && resolve(parameterStatus, driver, "PQparameterStatus")
               && resolve(clientEncoding, driver, "PQclientEncoding") && resolve(tuples, driver, "PQntuples")
               && resolve(fields, driver, "PQnfields") && resolve(fieldName, driver, "PQfname")
               && resolve(fieldType, driver, "PQftype") && resolve(value, driver, "PQgetvalue")
               && resolve(isNull, driver, "PQgetisnull");
    }

    // The first row of result as Qt's driver reads it: int2 and int4 as int,
    // int8 as qlonglong when negative and qulonglong otherwise, a NULL as a
    // null of that type, any other type as UTF-8 text. The caller asks only
    // for statements whose values Qt gave as those types.
    Row firstRow(const void* result) const
    {
        constexpr unsigned int8 = 20, int2 = 21, int4 = 23;
        Row row;
        if (tuples(result) < 1)
            return row;
        for (int i = 0; i < fields(result); ++i) {
            const unsigned type = fieldType(result, i);
            const int qtType = type == int8 ? QMetaType::LongLong
                               : type == int2 || type == int4 ? QMetaType::Int
                                                             : QMetaType::QString;
            QVariant v;
            if (isNull(result, 0, i)) {
                v = typedNull(qtType);
            } else {
                const char* text = value(result, 0, i);
                if (qtType == QMetaType::Int)
                    v = QByteArray(text).toInt();
                else if (qtType == QMetaType::LongLong && text[0] == '-')
                    v = QByteArray(text).toLongLong();
                else if (qtType == QMetaType::LongLong)
                    v = QByteArray(text).toULongLong();
                else
                    v = QString::fromUtf8(text);
            }
            row.insert(QString::fromUtf8(fieldName(result, i)), v);
        }
        return row;
    }
};

} // namespace

Sent postgresqlExecutePrepared(QSqlDatabase& db, const QString& name, const QVector<QVariant>& values, Row* first)
{
    constexpr int commandOk = 1; // PGRES_COMMAND_OK
    constexpr int tuplesOk = 2;  // PGRES_TUPLES_OK
    void* session = ClientLibrary::handle(db.driver());
    Api api;
    if (!session || !api.find(db.driver()))
        return Sent::NotSent;
    // Only where a quoted literal is read as it stands is the literal's text
    // the value; the session could have been told otherwise.
    // The values go as UTF-8, as Qt sends the statement's text where the client
    // encoding is UTF-8 (Qt sets it so on connecting).
    constexpr int utf8 = 6; // PG_UTF8
    if (qstrcmp(api.parameterStatus(session, "standard_conforming_strings"), "on") != 0
        || api.clientEncoding(session) != utf8)
        return Sent::NotSent;
    QVarLengthArray<QByteArray, 16> texts;
    QVarLengthArray<const char*, 16> pointers;
    texts.reserve(values.size());
    for (const QVariant& value : values) {
        texts.append(value.isNull() ? QByteArray() : value.toString().toUtf8());
        // A NUL would end the value early; the literal makes the text fail.
        if (texts.last().contains('\0'))
            return Sent::NotSent;
        pointers.append(value.isNull() ? nullptr : texts.last().constData());
    }
    void* result = api.execPrepared(session, name.toUtf8().constData(), int(values.size()), pointers.constData(),
                                    nullptr, nullptr, 0);
    const int status = result ? api.resultStatus(result) : -1;
    const bool ok = status == commandOk || status == tuplesOk;
    if (ok && first)
        *first = status == tuplesOk ? api.firstRow(result) : Row();
    api.clear(result);
    return ok ? Sent::Done : Sent::Failed;
}

} // namespace Tessark
