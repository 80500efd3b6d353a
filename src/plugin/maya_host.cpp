#include "plugin/maya_host.h"

#include <maya/MGlobal.h>
#include <maya/MQtUtil.h>

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
