// Picker files as text: a stable, diff-friendly JSON holding every value a
// .pkr holds, so pipelines can review, diff and generate pickers. A file made
// from the JSON of a file saved by this version is that file, byte for byte.
#pragma once

#include "model/picker_file.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace pkr_json {

constexpr const char* format_name = "quillmarsh-picker";
constexpr int format_version = 1;

// A colour as the JSON takes it: "#rrggbb" (opaque), "#aarrggbb" or a
// colour name ("red", "transparent"). The JSON is always written #aarrggbb.
bool parse_colour(const QString& text, quint32* colour);

// The picture as PNG bytes, as a .pkr stores it; empty without one.
QByteArray picture_png(const pkr_header& header);

// The JSON of a picker. `image_file` names the PNG written beside the JSON
// (relative to it); empty embeds the picture as base64.
QByteArray to_json(const pkr_contents& picker, const QString& image_file);

// Where a picture file the JSON names may be read from.
enum class picture_files { inside_base_dir, anywhere };

// Reads JSON made by to_json (or by hand to the same form). `base_dir` is
// where a named image file is looked for. Strict: an unknown key, a missing
// one or a value of the wrong type is refused. False with *error naming the
// JSON path and the problem ("buttons[3].colour: unknown key", indexes from
// 0); nothing is half-filled in that case.
bool from_json(QByteArray json, const QString& base_dir, pkr_header& header,
               QList<buttonAttributes>& buttons, QString* error,
               picture_files pictures = picture_files::inside_base_dir);

} // namespace pkr_json
