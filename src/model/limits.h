// Ceilings on what any stored picker may hold. Each is far above what a real
// picker uses, and together they keep the cost of reading hostile data within
// a few hundred megabytes and well away from integer overflow.
#pragma once

#include <QtGlobal>

namespace limits {
// Buttons of one picker (a file, a tab, a paste): a rig's picker has
// hundreds, a crowd of ten characters twenty thousand.
constexpr qint32 max_buttons = 32768;
// Buttons of all the tabs of one scene together.
constexpr qint32 max_scene_buttons = 4 * max_buttons;
// Object names (or script lines) on one button: a whole character fits.
constexpr qint32 max_names = 100000;
// Names of all the buttons of one file, scene or paste together: a crowd of
// ten characters has a few hundred thousand. A short name costs some 80
// bytes held, so this keeps the worst file within a few hundred megabytes.
constexpr qint64 max_total_names = 4000000;
// Tabs in one scene stream.
constexpr qint32 max_tabs = 256;
// A centre coordinate stays within +-1e6 picker units, so bounds, zoom and
// pan arithmetic stays far from the range of int.
constexpr qint32 max_coordinate = 1000000;
// A button side is at most 1e5 units; negative sides read as 0.
constexpr qint32 max_button_side = 100000;
// A label picture is at most this wide (the text is elided) and about one
// line high: a label picture costs at most 19 KB.
constexpr int max_label_width = 200;
constexpr int max_label_height = 24;
// Characters of a tab name, and of a namespace offered for rebinding: far
// past any real one, and few enough for a tab bar or a list to lay out.
constexpr int max_tab_name_chars = 256;
constexpr int max_namespace_chars = 256;
// Characters of a label that are laid out at all; more can never fit the
// width above, and laying out a million would take seconds.
constexpr int max_label_chars = 512;
// A background image: 4096 x 4096 pixels (64 MB decoded, twice that at 16
// bits a channel) at most, refused from its header before any pixel exists.
constexpr qint32 image_square_side = 4096;
constexpr qint64 max_image_pixels = qint64(image_square_side) * image_square_side;
constexpr qint32 max_image_side = 16384;
// Bytes of one encoded (PNG) image; a real background is a few megabytes.
constexpr qint64 max_image_bytes = qint64(64) << 20;
// Pixels of all the pictures of one scene together (a picture shared by
// tabs counts once), checked whenever one joins the scene and whenever a
// scene is read, so many tabs cannot multiply the image limit: four whole
// pictures, 256 MB decoded.
constexpr qint64 max_total_image_pixels = 4 * max_image_pixels;
// A .pkr file, and the uncompressed window stream of a scene.
constexpr qint64 max_file_bytes = qint64(64) << 20;
constexpr qint64 max_scene_data_bytes = qint64(64) << 20;
// Side patterns of one picker (both sides counted) and the characters of
// one: a rig spells its sides a handful of ways, each a few letters.
constexpr qint32 max_side_patterns = 64;
constexpr int max_side_pattern_chars = 64;
// Points of a polygon button: a hand drawn in outline takes a few dozen.
constexpr qint32 min_polygon_points = 3;
constexpr qint32 max_polygon_points = 1024;
// Tagged fields after a button record's fixed ones, and the bytes of one:
// room for what later versions add (a picture on a button is at most a
// label's size) without letting a claimed length cost more.
constexpr qint32 max_record_fields = 64;
constexpr qint64 max_record_field_bytes = qint64(1) << 20;
// The ends of an attribute widget's range: far past any rig's values, and
// exact as doubles.
constexpr double max_attribute_value = 1e15;
// A picture on a button: an icon, drawn at most a few hundred pixels wide.
// It shares the pixel budget of the pictures it is read or kept with.
constexpr qint32 max_button_picture_side = 1024;
} // namespace limits
