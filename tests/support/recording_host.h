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
    void clear()
    {
        mel.clear();
        python.clear();
    }

    QStringList mel;
    QStringList python;
};
