// Whole picker files and window streams, read in one piece so a caller learns
// what was recovered from damaged data instead of meeting a half-read stream.
#pragma once

#include "model/picker_stream.h"

#include <QByteArray>
#include <QIODevice>
#include <QList>
#include <QString>
#include <QVector>

struct pkr_contents {
    pkr_header header;                 // background null when refused or unreadable
    QVector<buttonAttributes> buttons; // the records accepted, in order
    qint32 declared = 0;               // the button count the file claims
    bool image_refused = false;        // image over the pixel limit or not decodable
    bool damaged = false;              // stream stopped early or records were dropped
    bool patterns_damaged = false;     // the side patterns after the buttons were unreadable
};

// Reads a whole .pkr from the device. False, with *error set to a short reason,
// when the bytes are not a picker file at all (empty, text, random, truncated header)
// or hold what only a newer version can read.
bool read_pkr(QIODevice& device, pkr_contents& out, QString* error);
// The bytes of a .pkr file (stream version Qt_4_0, format version 6), with
// the header's side patterns after the buttons when it has any.
QByteArray write_pkr(const pkr_header& header, const QList<buttonAttributes>& buttons);

struct window_tab {
    QString text;
    QString key;
    // Null from version 6 on: the picture is in the scene entry of its key.
    png_picture background;
    bool image_refused = false;
    QVector<buttonAttributes> buttons;
    qint32 declared = 0;
    // From the block after the last tab; empty when the stream has none.
    QStringList mirror_patterns;
};

struct window_contents {
    qint32 version = 0;
    qint32 current = -1;
    qint32 declared_tabs = 0;
    QList<window_tab> tabs;
    bool too_new = false;
    bool unknown = false; // a version below 1: no picker wrote it
    bool damaged = false;
    bool patterns_damaged = false;
};

// Reads a window stream (scene data), versions 1 to 7, and the side
// patterns block after its last tab when there is one. too_new: a later
// version (or a record holding a field only a later one knows), unknown: below 1; nothing is read past either. False when the
// stream holds no window at all, or one of those. The pictures of older
// streams share one pixel budget, and a picture that several tabs carry is
// decoded once.
bool read_window_stream(QDataStream& in, window_contents& out);
