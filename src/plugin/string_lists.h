// Host string arrays and Qt string lists, element by element, and the
// command's arguments as the directives read them.
#pragma once

#include <maya/MArgList.h>
#include <maya/MStringArray.h>

#include <QStringList>

QStringList MStringArrayToQStringList(const MStringArray& array);
MStringArray QStringListToMStringArray(const QStringList& list);

// The arguments after the directive (argument 0) as text: a string as it is,
// a number in its shortest exact form ("120", "40.5"), a boolean as "1" or
// "0"; a single string array is taken element by element. Returns 0, or the
// position (counting the directive as 1) of the first argument that is none
// of these.
unsigned directive_arguments(const MArgList& args, MStringArray& out);
