// A host that keeps every text the interface asks it to run, in order.
#pragma once

#include "model/picker_host.h"

#include <QStringList>

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
    void warn(const QString& text) override { warnings << text; }
    void inform(const QString& text) override { infos << text; }
    void clear()
    {
        mel.clear();
        python.clear();
        now.clear();
        warnings.clear();
        infos.clear();
    }

    QStringList mel;    // queued for idle time
    QStringList python; // queued for idle time
    QStringList now;    // run at once
    QStringList absent; // objects the scene lacks
    QStringList warnings;
    QStringList infos;
};
