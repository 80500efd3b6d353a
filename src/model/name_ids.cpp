#include "model/name_ids.h"

#include <QHash>
#include <QVector>

namespace {

struct table {
    QHash<QString, int> ids;
    QVector<QString> names;
};

table& the_table()
{
    static table t;
    return t;
}

} // namespace

namespace name_ids {

int generation_count = 0;

int intern(const QString& name)
{
    table& t = the_table();
    auto it = t.ids.constFind(name);
    if (it != t.ids.constEnd())
        return it.value();
    const int id = t.names.size();
    t.ids.insert(name, id);
    t.names.append(name);
    return id;
}

const QString& name(int id)
{
    return the_table().names.at(id);
}

int count()
{
    return the_table().names.size();
}

bool trim(int limit)
{
    table& t = the_table();
    if (t.names.size() <= limit)
        return false;
    t.ids.clear();
    t.names.clear();
    ++generation_count;
    return true;
}

} // namespace name_ids
