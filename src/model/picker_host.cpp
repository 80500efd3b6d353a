#include "model/picker_host.h"

#include <QtGlobal>
#include <QtNumeric>

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

bool picker_host::run_mel_undoable(const QString& text)
{
    return run_mel_now(text);
}

attribute_facts picker_host::attribute_facts_of(const QString&)
{
    return attribute_facts();
}

QVector<double> picker_host::attribute_values(const QStringList& plugs)
{
    return QVector<double>(plugs.size(), qQNaN());
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
