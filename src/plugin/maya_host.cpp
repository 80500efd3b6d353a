#include "plugin/maya_host.h"

#include "window/window_texts.h"

#include <maya/MGlobal.h>
#include <maya/MQtUtil.h>
#include <maya/MSelectionList.h>

#include <QRegularExpression>

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
