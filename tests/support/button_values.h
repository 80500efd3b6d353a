// A button's stored values in one call, for tests that build files and streams.
#pragma once

#include "model/button_model.h"

#include <QDataStream>

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
    a.shape = legacy_shape(kind, names.size(), label);
    return a;
}

// A button list as versions 1 to 5 of the .pkr and 1 to 6 of the scene's
// window stream hold it: records end after their names.
inline void write_v5_button_list(QDataStream& out, const QList<buttonAttributes>& buttons)
{
    out << qint32(buttons.size());
    for (int j = 0; j < buttons.size(); ++j) {
        const buttonAttributes& a = buttons[j];
        out << qint32(j) << a.pos << a.size << a.width << a.height << a.kind << a.language << a.color
            << a.labelColor << a.label << qint32(a.names.size());
        for (const QString& name : a.names)
            out << name;
    }
}
