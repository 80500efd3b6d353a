// A host that keeps every text the interface asks it to run, in order.
#pragma once

#include "model/picker_host.h"

#include <QHash>
#include <QStringList>
#include <QVector>
#include <QtNumeric>

class recording_host : public picker_host {
public:
    recording_host() { picker_host::install(this); }
    ~recording_host() override { picker_host::install(nullptr); }

    void run_mel_on_idle(const QString& text) override { mel << text; }
    void run_python_on_idle(const QString& text) override { python << text; }
    bool run_mel_now(const QString& text) override
    {
        now << text;
        return true;
    }
    // Objects are there unless listed in absent.
    QStringList missing_objects(const QStringList& names) override
    {
        QStringList out;
        for (const QString& name : names)
            if (absent.contains(name))
                out << name;
        return out;
    }
    bool run_mel_undoable(const QString& text) override
    {
        undoable << text;
        return true;
    }
    // Plugs hold what values says; others are not there.
    QVector<double> attribute_values(const QStringList& plugs) override
    {
        QVector<double> out;
        for (const QString& plug : plugs)
            out << values.value(plug, qQNaN());
        return out;
    }
    attribute_facts attribute_facts_of(const QString& plug) override { return facts.value(plug); }
    void warn(const QString& text) override { warnings << text; }
    void inform(const QString& text) override { infos << text; }
    void clear()
    {
        mel.clear();
        python.clear();
        now.clear();
        undoable.clear();
        warnings.clear();
        infos.clear();
    }

    QStringList mel;    // queued for idle time
    QStringList python; // queued for idle time
    QStringList now;    // run at once
    QStringList undoable; // run at once as steps of the host's undo
    QHash<QString, double> values; // attributes' values
    QHash<QString, attribute_facts> facts;
    QStringList absent; // objects the scene lacks
    QStringList warnings;
    QStringList infos;
};
