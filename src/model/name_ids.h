// Object names as small integers, one table for the process: whether a name
// is selected becomes an array slot instead of a string hash, so selecting
// thousands of buttons costs about what hit-testing them costs.
#pragma once

#include <QString>

namespace name_ids {

// The id of a name, entered on first sight. Ids count up from 0.
int intern(const QString& name);
const QString& name(int id);
int count();
// Bumped whenever the table is emptied: ids kept from an older generation
// mean nothing any more. Read for every button a gesture passes over.
extern int generation_count;
inline int generation()
{
    return generation_count;
}
// Empties the table when it holds more than `limit` names, so that a long
// session of huge host selections cannot grow it without bound. The caller
// must hold no ids it still needs. True when it emptied the table.
bool trim(int limit);

} // namespace name_ids
