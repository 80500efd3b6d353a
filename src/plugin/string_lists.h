// Host string arrays and Qt string lists, element by element.
#pragma once

#include <maya/MStringArray.h>

#include <QStringList>

QStringList MStringArrayToQStringList(const MStringArray& array);
MStringArray QStringListToMStringArray(const QStringList& list);
