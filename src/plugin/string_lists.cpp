#include "plugin/string_lists.h"

#include <maya/MQtUtil.h>

#include <QLocale>

#include <cmath>

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

namespace {

// A number as the directives' readers take it back: whole numbers without
// decimals, others in the shortest form that reads back as the same double.
MString number_text(double v)
{
    if (v == std::trunc(v) && std::fabs(v) < 1e15)
        return MQtUtil::toMString(QString::number(qint64(v)));
    return MQtUtil::toMString(QString::number(v, 'g', QLocale::FloatingPointShortest));
}

// Maya may hand over a number as an int, a double or a boolean, and says
// little about which getter converts what, so each is tried in turn.
bool argument_text(const MArgList& args, unsigned index, MString& text)
{
    if (args.get(index, text))
        return true;
    double d = 0.0;
    if (args.get(index, d) && std::isfinite(d)) {
        text = number_text(d);
        return true;
    }
    int i = 0;
    if (args.get(index, i)) {
        text = MQtUtil::toMString(QString::number(i));
        return true;
    }
    bool b = false;
    if (args.get(index, b)) {
        text = b ? "1" : "0";
        return true;
    }
    return false;
}

} // namespace

unsigned directive_arguments(const MArgList& args, MStringArray& out)
{
    out.clear();
    const unsigned n = args.length();
    if (n == 2) {
        unsigned index = 1;
        if (args.get(index, out))
            return 0;
        out.clear();
    }
    for (unsigned i = 1; i < n; ++i) {
        MString text;
        if (!argument_text(args, i, text)) {
            out.clear();
            return i + 1;
        }
        out.append(text);
    }
    return 0;
}
