// The one way the interface reaches the host application: texts to run when
// the host is idle. The plug-in installs the Maya side when it loads; tests
// install a recording one.
#pragma once

#include <QString>
#include <QStringList>

class picker_host {
public:
    // The command the picker's own texts call.
    static constexpr const char* command = "QuillmarshPicker";

    virtual ~picker_host();
    virtual void run_mel_on_idle(const QString& text) = 0;
    virtual void run_python_on_idle(const QString& text) = 0;
    // Runs MEL at once (scene writes that must land before a save); false
    // when it failed.
    virtual bool run_mel_now(const QString& text) = 0;
    // The names among these that no object in the scene has (an attribute
    // or component counts by its node). A host that cannot tell finds none.
    virtual QStringList missing_objects(const QStringList& names);
    // Shows a warning where the host shows its messages.
    virtual void warn(const QString& text);
    // Shows a confirmation there (a file saved).
    virtual void inform(const QString& text);

    // The installed host; a quiet one that only warns when none is installed.
    static picker_host& instance();
    // Installs a host (not owned); null puts the quiet one back.
    static void install(picker_host* host);
};
