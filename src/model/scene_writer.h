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
// (index, name, background key, buttons), then each tab's side patterns.
// The pictures are not in it: each
// lives in the scene entry of its key.
void write_window_stream(QDataStream& out, const QVector<const picker_page*>& pages, int current);

class scene_writer {
public:
    // The scene text for the pages: what encode_picker_data makes of the
    // window stream, made from cached pieces where nothing changed.
    QByteArray encode(const QVector<const picker_page*>& pages, int current);

private:
    QHash<const picker_page*, QVector<deflate_piece>> buttons_;
};
