// The pickers as the scene keeps them, written from their pages alone (no
// window or widget needed): the window stream, and the same bytes as the
// compressed scene text, cut into pieces an edit can reuse.
#pragma once

#include "model/picker_page.h"
#include "model/scene_text.h"

#include <QByteArray>
#include <QDataStream>
#include <QHash>
#include <QVector>

// The window stream: format version, tab count, current tab, then each tab
// (index, name, background key, picture, buttons).
void write_window_stream(QDataStream& out, const QVector<const picker_page*>& pages, int current);

class scene_writer {
public:
    // The scene text for the pages: what encode_picker_data makes of the
    // window stream, made from cached pieces where nothing changed.
    QByteArray encode(const QVector<const picker_page*>& pages, int current);
    // A picture's stream bytes (marker and PNG), made once per picture.
    const deflate_piece& image_piece(const png_picture& picture);

private:
    QHash<qint64, deflate_piece> images_;
    QHash<const picker_page*, QVector<deflate_piece>> buttons_;
};
