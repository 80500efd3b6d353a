#include "plugin/maya_host.h"

#include "model/button_model.h"
#include "model/undo_chunk.h"
#include "plugin/picker_main.h"
#include "window/window_texts.h"

#include <maya/MGlobal.h>
#include <maya/MQtUtil.h>
#include <maya/MSelectionList.h>

#include <QRegularExpression>
#include <QtNumeric>

#include <cmath>

void maya_host::run_mel_on_idle(const QString& text)
{
    MGlobal::executeCommandOnIdle(MQtUtil::toMString(text), false);
}

void maya_host::run_python_on_idle(const QString& text)
{
    MGlobal::executePythonCommandOnIdle(MQtUtil::toMString(text), false);
}

bool maya_host::run_mel_now(const QString& text)
{
    return MGlobal::executeCommand(MQtUtil::toMString(text), false, false) == MStatus::kSuccess;
}

bool maya_host::run_mel_undoable(const QString& text)
{
    return MGlobal::executeCommand(MQtUtil::toMString(text), false, true) == MStatus::kSuccess;
}

namespace {

double number_or_nan(const MString& text)
{
    bool ok = false;
    const double v = MQtUtil::toQString(text).toDouble(&ok);
    return ok && std::isfinite(v) ? v : qQNaN();
}

} // namespace

attribute_facts maya_host::attribute_facts_of(const QString& plug)
{
    attribute_facts facts;
    MStringArray result;
    if (!is_plug_name(plug) || !load_attribute_procs()
        || !MGlobal::executeCommand(MQtUtil::toMString("picker_AttributeFacts " + mel_literal(plug)), result, false,
                                    false)
        || result.length() != 7)
        return facts;
    facts.exists = true;
    const QString type = MQtUtil::toQString(result[0]);
    static const QStringList numbers{"double", "float", "long", "short", "byte", "doubleLinear", "doubleAngle",
                                     "time", "char"};
    facts.type = type == "bool" ? attribute_facts::boolean
        : type == "enum"        ? attribute_facts::enumeration
        : numbers.contains(type) ? attribute_facts::number
                                 : attribute_facts::other;
    facts.hasMinimum = result[1] == "1";
    facts.minimum = number_or_nan(result[2]);
    facts.hasMaximum = result[3] == "1";
    facts.maximum = number_or_nan(result[4]);
    facts.defaultValue = number_or_nan(result[5]);
    facts.enumFields = MQtUtil::toQString(result[6]).toInt();
    return facts;
}

QVector<double> maya_host::attribute_values(const QStringList& plugs)
{
    QVector<double> values(plugs.size(), qQNaN());
    MStringArray result;
    if (plugs.isEmpty() || !load_attribute_procs()
        || !MGlobal::executeCommand(MQtUtil::toMString("picker_AttributeValues(" + mel_array_literal(plugs) + ")"), result,
                                    false, false)
        || int(result.length()) != plugs.size())
        return values;
    for (int i = 0; i < plugs.size(); ++i)
        values[i] = number_or_nan(result[unsigned(i)]);
    return values;
}

QStringList maya_host::missing_objects(const QStringList& names)
{
    // By its node: the attribute or component of a node that exists may
    // still be valid, and cannot be told apart here.
    static const QRegularExpression node_end("[.\\[]");
    QStringList missing;
    for (const QString& name : names) {
        const int end = name.indexOf(node_end);
        MSelectionList list;
        if (!list.add(MQtUtil::toMString(end < 0 ? name : name.left(end))))
            missing << name;
    }
    return missing;
}

void maya_host::warn(const QString& text)
{
    MGlobal::displayWarning(MQtUtil::toMString(text));
}

void maya_host::inform(const QString& text)
{
    MGlobal::displayInfo(MQtUtil::toMString(QString("%1: %2").arg(texts::command_name, text)));
}
