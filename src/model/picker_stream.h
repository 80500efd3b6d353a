// The one binary layout shared by scene data, .pkr files and the clipboard:
// big-endian QDataStream records. Files and the clipboard are at format
// version 6 (records carry a shape and tagged fields); the scene's window
// stream is at version 7, whose records are those of version 6.
#pragma once

#include "model/button_model.h"
#include "model/limits.h"
#include "model/png_picture.h"

#include <QDataStream>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace picker_format {
// .pkr files, and the records of every stream.
constexpr qint32 current_version = 6;
// The window stream: from 6 on a tab names its picture by key and carries
// no pixels, so the data stays small however large the pictures; 7 holds
// records of version 6.
constexpr qint32 window_version = 7;
// The record layout a window stream of a version holds.
constexpr qint32 window_record_version(qint32 window)
{
    return window >= 7 ? 6 : (window < 5 ? window : 5);
}
// .pkr files are always read and written at this QDataStream version.
constexpr int pkr_stream_version = QDataStream::Qt_4_0;
// The clipboard payload: 1 holds version-5 records, 2 version-6 ones.
constexpr qint32 payload_version = 2;
// Marks the block of side patterns that may follow a .pkr's button list and
// a window stream's last tab ("QPAT"). Readers that predate it stop before
// it, so files and scenes that carry patterns still open in them; a reader
// that meets other bytes there leaves them alone.
constexpr quint32 patterns_tag = 0x51504154;
// The clipboard format of copied buttons.
const char* const clipboard_mime = "application/x-qt-picker-mime;value=\"buttons\"";
} // namespace picker_format

// The pictures of one file, scene or paste as it is read: together they
// stay within the pixel budget backgrounds use, and bytes met before give
// the picture already decoded at no cost (a picker of thousands of buttons
// with one icon holds one picture).
struct picture_pool {
    qint64 pixel_budget = limits::max_total_image_pixels;
    QHash<QByteArray, png_picture> seen;
};

// One button record with every field of the current version: those of
// version 5, the shape byte (a polygon's points after it), then the count
// of tagged fields: the picture's (tag 2) when the button carries one.
void write_button_record(QDataStream& out, qint32 index, const buttonAttributes& a);

// Reads one record written at `version` into `a` (every field is assigned;
// records before version 6 take the shape they were drawn with). False
// when the record is damaged (index other than `index`, kind or language
// outside 0..1, no names, a shape it does not know, a polygon point
// outside the limits), over a limit (more names than a button holds: they
// are skipped, not kept, and *over_limit is set) or the stream failed
// while reading it. Either way the stream is left after the record, except
// where a count or length cannot be passed over (a polygon of more points
// than allowed, a tagged field over its limit): the stream fails there.
// A tagged field this version does not know sets *newer and fails the
// stream: such a record is never read in part, so no save can drop it. A
// picture that is not one whole PNG, is over its limits or the pool's
// budget, or does not decode marks the record damaged. Without a pool the
// record's pictures are read within a budget of their own.
bool read_button_record(QDataStream& in, int version, qint32 index, buttonAttributes& a,
                        bool* over_limit = nullptr, bool* newer = nullptr, picture_pool* pool = nullptr);

// A view's button list: the count, then the records. A count below 1 writes
// nothing more.
void write_button_list(QDataStream& out, const QList<buttonAttributes>& buttons);
// Reads a button list and hands every valid record to `accept`, in order.
// Stops at the first stream error. Returns the number accepted.
int read_button_list(QDataStream& in, int version,
                     const std::function<void(const buttonAttributes&)>& accept);

// What a bounded list read found. `budget` is the number of buttons the
// caller still allows and `names_budget` (when given) the names; both
// shrink by the records accepted, and records past either are read and
// dropped, so what follows the list is still found.
struct button_list_read {
    qint32 declared = 0; // the count the stream claims
    int accepted = 0;
    int over_limit = 0;   // records dropped for a limit (names, or past the budget)
    bool damaged = false; // a negative count, dropped records or a stream error
    bool newer = false;   // a record holds a field only a newer version knows
};
// The list's pictures are read from `pool`, or from one of the list's own.
button_list_read read_button_list(QDataStream& in, int version, qint32& budget,
                                  const std::function<void(const buttonAttributes&)>& accept,
                                  qint64* names_budget = nullptr, picture_pool* pool = nullptr);

// The clipboard payload: payload version 2, the count, version-6 records.
void writeButtonAttributes(QDataStream& out, const QList<buttonAttributes>& buttons);
// Reads payloads 1 and 2; empty for a payload of another version, a bad
// count or one holding what only a newer version knows.
QList<buttonAttributes> readButtonAttributes(QDataStream& in);

// The side patterns block: the tag, the number of lists, then each list as
// a count and its strings. An empty list stands for "none kept".
void write_side_patterns(QDataStream& out, const QList<QStringList>& lists);
// absent: the stream ends, or holds something else, where the block would
// be. damaged: the block is cut short or holds more than `most` lists, or
// a list that is not usable pairs (that list reads as empty); the lists
// read whole are kept. Nothing read costs more than the limits allow.
enum class patterns_read { absent, read, damaged };
patterns_read read_side_patterns(QDataStream& in, QList<QStringList>& lists, qint32 most);

// The head of a .pkr file, in front of the view's button list. The caller
// sets the stream version to picker_format::pkr_stream_version.
struct pkr_header {
    qint32 version = picker_format::current_version;
    QString name;
    QString backgroundKey; // empty: no picture follows
    png_picture background;
    // Kept after the button list (write_pkr, read_pkr); empty when the
    // file carries none.
    QStringList mirrorPatterns;
};
void write_pkr_header(QDataStream& out, const pkr_header& header);
// False when the stream failed before the header was complete. An image
// that is refused or does not decode leaves the background null and the
// stream in step after it.
bool read_pkr_header(QDataStream& in, pkr_header& header, bool* image_refused = nullptr);

// Pictures as a pixmap's stream operator writes them (a marker, then PNG
// bytes), read without trusting them: the PNG's chunks are walked up to
// IEND, its size is checked before anything is decoded, and a refused image
// still leaves the stream positioned after it. A decoded picture keeps the
// bytes it was read from.
enum class picture_read { null_image, decoded, refused, broken };
// `pixel_budget`, when given, is what the caller still allows and shrinks by
// the pixels decoded. broken: the stream failed (its status says how).
// `known`, when given, holds pictures already read: bytes equal to one of
// them give that picture, without decoding or taking from the budget.
picture_read read_picture(QDataStream& in, png_picture& picture, qint64* pixel_budget = nullptr,
                          const QList<png_picture>* known = nullptr);

// Clamps coordinates and sides to the limits, so that no later arithmetic
// on a read button can overflow.
void clamp_geometry(buttonAttributes& a);
