#include "model/picker_host.h"

#include <QtGlobal>

namespace {

// Used before a host is installed (or after it is gone): nothing can be run,
// so say what was dropped instead of failing silently.
class no_host final : public picker_host {
public:
    void run_mel_on_idle(const QString& text) override
    {
        qWarning("QuillmarshPicker: no host to run MEL: %s", qUtf8Printable(text));
    }
    void run_python_on_idle(const QString& text) override
    {
        qWarning("QuillmarshPicker: no host to run Python: %s", qUtf8Printable(text));
    }
    bool run_mel_now(const QString& text) override
    {
        qWarning("QuillmarshPicker: no host to run MEL: %s", qUtf8Printable(text));
        return false;
    }
};

no_host quiet_host;
picker_host* installed = nullptr;

} // namespace

picker_host::~picker_host()
{
    if (installed == this)
        installed = nullptr;
}

QStringList picker_host::missing_objects(const QStringList&)
{
    return QStringList();
}

void picker_host::warn(const QString& text)
{
    qWarning("QuillmarshPicker: %s", qUtf8Printable(text));
}

void picker_host::inform(const QString& text)
{
    qInfo("QuillmarshPicker: %s", qUtf8Printable(text));
}

picker_host& picker_host::instance()
{
    return installed ? *installed : quiet_host;
}

void picker_host::install(picker_host* host)
{
    installed = host;
}
