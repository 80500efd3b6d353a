// A button's stored values in one call, for tests that build files and streams.
#pragma once

#include "model/button_model.h"

inline buttonAttributes button(QPoint pos, qint32 w, qint32 h, qint32 kind, qint32 language, quint32 color,
                               quint32 labelColor, const QString& label, const QStringList& names)
{
    buttonAttributes a;
    a.pos = pos;
    a.size = a.width = w;
    a.height = h;
    a.kind = kind;
    a.language = language;
    a.color = color;
    a.labelColor = labelColor;
    a.label = label;
    a.names = names;
    return a;
}
