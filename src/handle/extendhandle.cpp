#include "handle/extendhandle.h"

#include "core/backend.h"
#include "core/connectioncore.h"
#include "core/rules.h"
#include "handle/operations_p.h"

namespace Op = Tessark::Operations;

// The backend of the kind InitInfo set; none for a kind that names no database.
class ExtendHandle::Private
{
public:
    std::unique_ptr<Tessark::Backend> backend;
    DbType type = 0;
};

// Every call goes to the one backend; without one it returns R's empty value.
template <class R, class F>
R ExtendHandle::call(F&& f)
{
    if (!d->backend)
        return R();
    return f(*d->backend);
}

// A new handle is of kind 0, with an undescribed backend of that kind.
ExtendHandle::ExtendHandle(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{
    d->backend = Tessark::makeBackend(d->type);
}

ExtendHandle::~ExtendHandle() = default;

void ExtendHandle::InitInfo(ConnInfoModel info)
{
    d->type = info.Type;
    Op::describe(d->backend, info);
}

void ExtendHandle::InitInfo(short type, QString host, int port, QString userName, QString password,
                            QString databaseName, QString connectTag)
{
    InitInfo(ConnInfoModel(type, host, port, userName, password, databaseName, connectTag));
}

bool ExtendHandle::InitConnect()
{
    return call<bool>([](Tessark::Backend& b) { return Op::initConnect(b); });
}

short ExtendHandle::GetType()
{
    return d->type;
}

bool ExtendHandle::ExecuteSQL(QString sql)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::executeSql(b, sql); });
}

RowList ExtendHandle::Query(QString sql)
{
    return call<RowList>([&](Tessark::Backend& b) { return Op::query(b, sql); });
}

RowList ExtendHandle::Query(ObjectModel* model)
{
    return call<RowList>([&](Tessark::Backend& b) { return Op::query(b, model); });
}

RowList ExtendHandle::Query(int offset, int count, ObjectModel* model)
{
    return call<RowList>([&](Tessark::Backend& b) { return Op::query(b, offset, count, model); });
}

Row ExtendHandle::QueryFirst(QString sql)
{
    return call<Row>([&](Tessark::Backend& b) { return Op::queryFirst(b, sql); });
}

int ExtendHandle::QueryRow(QString sql)
{
    return call<int>([&](Tessark::Backend& b) { return Op::queryRow(b, sql); });
}

bool ExtendHandle::Insert(ObjectModel* model, bool generatedKey)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::insert(b, model, generatedKey); });
}

bool ExtendHandle::Insert(QString table, QList<FieldPair> values, QString key, bool generatedKey)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::insert(b, table, values, key, generatedKey); });
}

bool ExtendHandle::InsertList(QList<ObjectModel*> models, bool generatedKey, bool continueOnError)
{
    return call<bool>(
        [&](Tessark::Backend& b) { return Op::insertList(b, models, generatedKey, continueOnError); });
}

bool ExtendHandle::Update(ObjectModel* model)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::update(b, model); });
}

bool ExtendHandle::Update(QString table, QString key, QList<FieldPair> values)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::update(b, table, key, values); });
}

bool ExtendHandle::UpdateList(QList<ObjectModel*> models, bool continueOnError)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::updateList(b, models, continueOnError); });
}

bool ExtendHandle::Delete(QString column, QVariant value, QString table)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::remove(b, column, value, table); });
}

bool ExtendHandle::Delete(QString column, QVariant value, ObjectModel* model)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::remove(b, column, value, model); });
}

bool ExtendHandle::DeleteAll(QString table)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::removeAll(b, table); });
}

bool ExtendHandle::DeleteList(QList<ObjectModel*> models, bool continueOnError)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::removeList(b, models, continueOnError); });
}

bool ExtendHandle::DeleteList(QString column, QList<QVariant> values, QString table, bool continueOnError)
{
    return call<bool>(
        [&](Tessark::Backend& b) { return Op::removeList(b, column, values, table, continueOnError); });
}

bool ExtendHandle::DeleteList(QStringList sqls, bool continueOnError)
{
    return call<bool>([&](Tessark::Backend& b) { return Op::removeList(b, sqls, continueOnError); });
}

QStringList ExtendHandle::GetTableNames()
{
    return call<QStringList>([](Tessark::Backend& b) { return Op::tableNames(b); });
}

QStringList ExtendHandle::GetColumnNames(QString tableName)
{
    return call<QStringList>([&](Tessark::Backend& b) { return Op::columnNames(b, tableName); });
}

QString ExtendHandle::GetTableName(QString name)
{
    return call<QString>([&](Tessark::Backend& b) { return Op::tableName(b, name); });
}

QString ExtendHandle::GetModelTableName(QString name)
{
    return call<QString>([&](Tessark::Backend& b) { return Op::modelTableName(b, name); });
}

void ExtendHandle::CleanTable()
{
    call<void>([](Tessark::Backend& b) { Op::cleanTables(b); });
}

void ExtendHandle::CleanColumn()
{
    call<void>([](Tessark::Backend& b) { Op::cleanColumns(b); });
}

void ExtendHandle::Close()
{
    call<void>([](Tessark::Backend& b) { Op::close(b); });
}

Tessark::LastError ExtendHandle::lastError() const
{
    return d->backend ? d->backend->connection().lastError() : Tessark::LastError();
}
