// The one way the interface reaches the host application: texts to run when
// the host is idle. The plug-in installs the Maya side when it loads; tests
// install a recording one.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

// An attribute as the host knows it.
struct attribute_facts {
    bool exists = false;
    enum { number, boolean, enumeration, other } type = other;
    bool hasMinimum = false;
    bool hasMaximum = false;
    double minimum = 0;
    double maximum = 0;
    double defaultValue = 0;
    int enumFields = 0;
};

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
    // Runs MEL at once as what the host's undo takes back: one step, or a
    // part of the step an open chunk or a running command makes.
    virtual bool run_mel_undoable(const QString& text);
    // What the host knows of an attribute ("node.attr").
    virtual attribute_facts attribute_facts_of(const QString& plug);
    // Each plug's value now; NaN for one that has none (no such plug, not
    // a number). A host that cannot tell knows none.
    virtual QVector<double> attribute_values(const QStringList& plugs);
    // Shows a warning where the host shows its messages.
    virtual void warn(const QString& text);
    // Shows a confirmation there (a file saved).
    virtual void inform(const QString& text);

    // The installed host; a quiet one that only warns when none is installed.
    static picker_host& instance();
    // Installs a host (not owned); null puts the quiet one back.
    static void install(picker_host* host);
};
