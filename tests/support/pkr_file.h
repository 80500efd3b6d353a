// Picker files and pictures made on the spot, for tests that open them.
#pragma once

#include "button_values.h"
#include "model/picker_file.h"

#include <QFile>
#include <QImage>
#include <QtTest>

// A 20 x 20 blue selection button.
inline buttonAttributes button_at(QPoint pos, const QStringList& names, const QString& label = QString())
{
    buttonAttributes a;
    a.pos = pos;
    a.size = a.width = a.height = 20;
    a.color = 0x3366cc;
    a.labelColor = 0xffffff;
    a.label = label;
    a.names = names;
    a.shape = legacy_shape(a.kind, names.size(), label);
    return a;
}

inline png_picture filled_picture(int w, int h, QColor colour)
{
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(colour);
    return png_picture::from_image(image);
}

// A PNG file of one colour; its bytes, as a picture read from it keeps them.
inline QByteArray write_picture_file(const QString& path, int w, int h, QColor colour)
{
    const QByteArray png = filled_picture(w, h, colour).png();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size())
        qWarning("cannot write %s", qPrintable(path));
    return png;
}

// A .pkr named `name` holding `buttons`, with `background` under `key` if given.
inline void write_pkr_file(const QString& path, const QString& name, const QList<buttonAttributes>& buttons,
                           const QString& key = QString(), const png_picture& background = png_picture())
{
    pkr_header header;
    header.name = name;
    header.backgroundKey = key;
    header.background = background;
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write(write_pkr(header, buttons)) > 0);
}
