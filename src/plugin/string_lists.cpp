#include "plugin/string_lists.h"

#include <maya/MQtUtil.h>

QStringList MStringArrayToQStringList(const MStringArray& array)
{
    QStringList list;
    for (unsigned i = 0; i < array.length(); ++i)
        list << MQtUtil::toQString(array[i]);
    return list;
}

MStringArray QStringListToMStringArray(const QStringList& list)
{
    MStringArray array;
    for (const QString& s : list)
        array.append(MQtUtil::toMString(s));
    return array;
}
