// How pickers are kept in the host scene's file info: the whole window as
// compressed, base64-encoded stream data, and each background image as a
// base64-encoded picture stream under a key of its own.
#pragma once

#include "model/png_picture.h"

#include <QByteArray>
#include <QLatin1String>
#include <QList>
#include <QSize>
#include <QString>

namespace scene_keys {
const QLatin1String picker_data("QuillmarshPickerData");
const QLatin1String image_prefix("QuillmarshPickerImage_");
} // namespace scene_keys

// Background keys are the decimal numbers the picker makes for its
// pictures; anything else read from outside is no background at all, so no
// key from a file or scene reaches MEL unless the picker could have made it.
bool is_background_key(const QString& key);

// qCompress at level 9, then base64 (standard alphabet, padded, one line).
QByteArray encode_picker_data(const QByteArray& stream);
// The reverse; empty when the text does not decode and decompress, or when
// it declares or inflates to more than the scene data limit.
QByteArray decode_picker_data(const QByteArray& text);

// The inflater used where zlib is missing, for a zlib stream (no length in
// front): empty when damaged or longer than `cap`.
QByteArray inflate_without_zlib(const QByteArray& zlib_stream, qint64 cap);

// A picture as a pixmap's stream operator writes it (at the default stream
// version), base64: its PNG bytes as they are.
QByteArray encode_image(const png_picture& picture);
// Null when the text holds no PNG image, or one over the image limits or
// over `pixel_budget` (then *refused is set; nothing is decoded). A decoded
// image takes its pixels from the budget and keeps the bytes it was read from.
// A text handed over (moved in) is let go once decoded from base64.
png_picture decode_image(QByteArray text, bool* refused = nullptr, qint64* pixel_budget = nullptr);
// The size the picture of an image entry claims, read from the first bytes
// of the text alone; empty when they do not start a PNG.
QSize claimed_image_size(const QByteArray& text);

// Pixels of the pictures, each counted once however many tabs show it: what
// the scene's image entries hold.
qint64 distinct_pixels(const QList<png_picture>& pictures);
// Whether the pictures together stay within the scene's pixel budget.
bool within_scene_budget(const QList<png_picture>& pictures);
// Why a picture was refused for the budget: "the scene's pictures would
// exceed 67.1 megapixels ...".
QString scene_budget_exceeded();

// A picture file chosen as a background. Its size is checked from its
// header before any pixel is decoded; null with *error set when it cannot
// be read or is over the image limits. A PNG keeps the file's own bytes (up
// to its end chunk) and must read back as a stored picture would; any other
// format Qt reads is encoded to PNG once.
png_picture load_image_file(const QString& path, QString* error);
// A picture file chosen for a button: a PNG kept as its bytes, within a
// button picture's limits (see button_picture_from_png). Null with *error
// set otherwise.
png_picture load_button_picture(const QString& path, QString* error);
