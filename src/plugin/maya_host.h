// The host seam's Maya side: texts go to Maya's idle queue.
#pragma once

#include "model/picker_host.h"

class maya_host final : public picker_host {
public:
    void run_mel_on_idle(const QString& text) override;
    void run_python_on_idle(const QString& text) override;
    bool run_mel_now(const QString& text) override;
    bool run_mel_undoable(const QString& text) override;
    QStringList missing_objects(const QStringList& names) override;
    attribute_facts attribute_facts_of(const QString& plug) override;
    QVector<double> attribute_values(const QStringList& plugs) override;
    void warn(const QString& text) override;
    void inform(const QString& text) override;
};
