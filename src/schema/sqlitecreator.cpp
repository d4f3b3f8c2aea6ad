#include "schema/sqlitecreator.h"

#include <QAtomicInt>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>

namespace Tessark {

QString sqliteType(const QString& qtType)
{
    static const QStringList integers = {"int", "qint16", "qint32", "qint64", "short", "long", "qlonglong",
                                         "uint", "quint16", "quint32", "quint64", "ushort", "ulong", "qulonglong"};
    if (integers.contains(qtType))
        return QStringLiteral("INTEGER");
    if (qtType == QLatin1String("float"))
        return QStringLiteral("FLOAT");
    if (qtType == QLatin1String("double"))
        return QStringLiteral("DOUBLE");
    if (qtType == QLatin1String("QString"))
        return QStringLiteral("TEXT");
    if (qtType == QLatin1String("QDateTime"))
        return QStringLiteral("TIMESTAMP");
    if (qtType == QLatin1String("QByteArray"))
        return QStringLiteral("BLOB");
    return QString();
}

QString createTableSql(const TableInfoModel& table)
{
    QString columns;
    for (const ColumnInfoModel& column : table.Columns) {
        // Empty parts keep their separating blanks ("name TEXT  ,").
        columns += QStringLiteral("%1 %2 %3 %4,")
                       .arg(column.Name, sqliteType(column.Type),
                            column.IsPrimaryKey ? QStringLiteral("PRIMARY KEY") : QString(),
                            column.IsAutoIncrement ? QStringLiteral("AUTOINCREMENT") : QString());
    }
    columns.chop(1);
    return QStringLiteral("create table %1(%2)").arg(table.TableName, columns);
}

QString createIndexSql(const TableInfoModel& table)
{
    QString columns;
    for (const ColumnInfoModel& column : table.Columns) {
        if (column.IsIndex)
            columns += QStringLiteral("%1 %2,").arg(column.Name, column.IsDesc ? QStringLiteral("DESC")
                                                                                : QStringLiteral("ASC"));
    }
    columns.chop(1);
    if (columns.isEmpty())
        return QString();
    return QStringLiteral("create index %1 ON %2(%3)").arg(table.IndexName, table.TableName, columns);
}

bool createSqliteDatabase(const CreateDatabaseModel& model)
{
    const QString path = model.DatabasePath;
    const QFileInfo info(path);
    QDir().mkpath(info.absolutePath());
    if (info.exists() && !QFile::remove(path))
        return false;

    // A connection of our own: the application's default connection is left alone.
    static QAtomicInt serial;
    const QString name = QStringLiteral("tessark-create-%1").arg(serial.fetchAndAddRelaxed(1));
    bool result = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        result = db.open();
        if (result) {
            QSqlQuery query(db);
            for (const TableInfoModel& table : model.Tables) {
                // Earlier tables' failures do not decide the outcome; the last statement does.
                result = query.exec(createTableSql(table));
                const QString index = createIndexSql(table);
                if (result && !index.isEmpty())
                    result = query.exec(index);
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return result;
}

} // namespace Tessark
