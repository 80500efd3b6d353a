// The values every picker tab is made of: a button's attributes and the
// record a page keeps for it.
#pragma once

#include "model/label_picture.h"
#include "model/name_ids.h"
#include "model/name_list.h"
#include "model/png_picture.h"

#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVarLengthArray>
#include <QVector>

#include <QtNumeric>

#include <algorithm>
#include <cmath>

// What is saved, copied and restored by undo. The field order is the order
// every stream writes them in.
struct buttonAttributes {
    QPoint pos;             // centre, picker coordinates
    qint32 size = 0;        // legacy single size, kept equal to width
    qint32 width = 0;
    qint32 height = 0;
    qint32 kind = 0;        // a button_kind
    qint32 language = 0;    // command buttons: 0 MEL, 1 Python
    quint32 color = 0;      // 0xAARRGGBB, alpha ignored when drawing
    quint32 labelColor = 0; // same form; older files mean white, 0xffffff
    QString label;
    QStringList names;      // object names, or the script in element 0
    qint32 shape = 0;       // a button_shape
    // Polygons: the outline, picture pixels relative to pos, so moves leave
    // it alone and a mirror only negates x. It is drawn with its bounding
    // box stretched over the button's, so a resize scales it about the
    // centre without rounding the points.
    QVector<QPoint> points;
    // Attribute buttons: the widget, and for each of names (one plug, two
    // for a two-axis slider) the values the widget's ends stand for.
    qint32 widget = 0;      // an attribute_widget
    double minimum[2] = {0, 0};
    double maximum[2] = {1, 1};
    // Drawn inside the shape, over the colour and under the label; null for
    // none. Kept as the PNG bytes it came as, so saving never re-encodes it,
    // and shared by every button carrying the same bytes.
    png_picture picture;

    bool operator==(const buttonAttributes& other) const;
    bool operator!=(const buttonAttributes& other) const { return !(*this == other); }
};

enum button_kind : qint32 { selection_kind = 0, command_kind = 1, attribute_kind = 2 };

// Buttons whose names are the scene's (objects, or an attribute's plugs):
// rebinding, mirroring and the missing-object check go through them.
inline bool names_scene_objects(qint32 kind)
{
    return kind == selection_kind || kind == attribute_kind;
}

enum class attribute_widget : qint32 { slider = 0, slider2d = 1, checkbox = 2 };
constexpr qint32 attribute_widget_count = 3;
QString widget_name(qint32 widget);
qint32 widget_from_name(const QString& name);
// The plugs a widget sets.
inline int widget_plugs(qint32 widget)
{
    return widget == qint32(attribute_widget::slider2d) ? 2 : 1;
}

enum class button_shape : qint32 { rectangle = 0, rounded = 1, ellipse = 2, polygon = 3 };
constexpr qint32 button_shape_count = 4;

// The shape pickers drew before buttons had one of their own, which records
// of format versions 1 to 5 and new buttons take: command buttons rounded,
// selection buttons of one object square, of several an ellipse, or a
// rounded box when labelled.
qint32 legacy_shape(qint32 kind, int name_count, const QString& label);

// The pictures of `buttons` (attributes or records), each once however
// many buttons carry it: what they add to a scene's pixels.
template <class Buttons>
QList<png_picture> button_pictures(const Buttons& buttons)
{
    QList<png_picture> pictures;
    QSet<qint64> listed;
    for (const auto& b : buttons)
        if (!b.picture.isNull() && !listed.contains(b.picture.key())) {
            listed.insert(b.picture.key());
            pictures.append(b.picture);
        }
    return pictures;
}

// The names of the shapes, as directives, queries and the JSON spell them;
// -1 for any other word.
QString shape_name(qint32 shape);
qint32 shape_from_name(const QString& name);

// Plain values all (point, integers, implicitly shared strings, a shared
// pointer that does not point back at itself): containers may move them
// with memcpy.
Q_DECLARE_TYPEINFO(buttonAttributes, Q_MOVABLE_TYPE);

// How a new button looks: the toolbox's values, or these defaults, which
// scripts always get so that a build script makes the same picker every run.
struct button_look {
    quint32 color = 0xB22222;
    quint32 labelColor = 0x000000;
    QString label;
    int width = 10;
    int height = 10;
};

// A new button centred on pos: a selection button bound to names, or a
// command button (kind 1) whose names hold its script.
buttonAttributes new_button(const QPoint& pos, const button_look& look, int kind = 0, int language = 0,
                            const QStringList& names = QStringList());

// One flag per name, zero when added. Most buttons have a few names: their
// flags (like their name ids) live in the record itself, so a pass over
// thousands of buttons touches nothing else.
class name_flags : public QVarLengthArray<quint8, 8> {
public:
    name_flags() = default;
    name_flags(int n, quint8 value) : QVarLengthArray(n) { fill(value); }
    name_flags(std::initializer_list<quint8> values) : QVarLengthArray(values) {}
    void resize(int n)
    {
        const int old = size();
        QVarLengthArray::resize(n);
        if (n > old)
            std::fill(begin() + old, end(), quint8(0));
    }
    void fill(quint8 value) { std::fill(begin(), end(), value); }
    void fill(quint8 value, int n)
    {
        QVarLengthArray::resize(n);
        fill(value);
    }
};

using name_id_list = QVarLengthArray<int, 2>;

// A button's identity for as long as the process runs: undo steps hold it,
// so they find their button wherever scripts have moved it in the list.
using button_id = quint64;

// A button as it lives on a page.
struct buttonRecord : buttonAttributes {
    buttonRecord() = default;
    explicit buttonRecord(const buttonAttributes& attributes);

    // What a pass over every button reads (a marquee, a paint) comes first
    // and close together.
    QRect bounds;           // picker coordinates, centred on pos
    qint16 selected = 0;    // 0 none, 1 all names, 2 some names selected in the host
    bool missing = false;   // some of its objects are not in the scene (never stored)

private:
    // The cache behind name_ids(). idsFor_ shares names' storage while ids_
    // is current: any change to names detaches it from this copy.
    mutable int idsGeneration_ = -1;

public:
    label_picture labelPixmap; // null without a label; drawn when first used

private:
    mutable QStringList idsFor_;
    mutable name_id_list ids_;

public:
    name_flags nameFlags;   // one per name: selected through this button
    // An attribute button's plugs' values as the host last told them
    // (never stored); NaN until it has, or while it has none.
    double value[2] = {qQNaN(), qQNaN()};
    bool value_known() const
    {
        return !std::isnan(value[0]) && (names.size() < 2 || !std::isnan(value[1]));
    }
    // Given by the page; never stored. Last: passes over every button
    // (marquees, paints) do not read it.
    button_id id = 0;

    void moveTo(const QPoint& p);
    // Mark the button (and each of its names) selected; unless quiet, every
    // name not yet flagged is added to the selection list. True when one was.
    bool select(bool quiet);
    bool unselect(bool quiet);

    // names.size(), read from the record itself while the ids are current.
    int name_count() const
    {
        return idsGeneration_ == name_ids::generation() && names.isSharedWith(idsFor_) ? ids_.size()
                                                                                      : names.size();
    }

    // The ids of names (see name_ids.h), made on first use and again
    // whenever names has changed since.
    const name_id_list& name_ids() const
    {
        // Sharing storage means the same list: no need to look into it.
        if (idsGeneration_ == name_ids::generation() && names.isSharedWith(idsFor_))
            return ids_;
        return make_name_ids();
    }

    // Selecting and unselecting unquietly add and drop names in this list
    // (the window's, which the host hears of); without one only the flags
    // change.
    static void set_selection_list(name_list* list);
    static name_list* selection_list();

private:
    const name_id_list& make_name_ids() const;
};

// ----- Attribute buttons
// "node.attr", the node possibly under namespaces and a DAG path, the
// attribute possibly a child or an element ("pos.x", "w[2]"): a plug text
// MEL can quote without it running anything.
bool is_plug_name(const QString& plug);
// A plug's node: what must exist in the scene for it to.
QString plug_node(const QString& plug);
// Where `value` lies between the widget's ends for plug i, 0 to 1, and the
// value at such a place; a checkbox is on at its maximum.
double value_fraction(const buttonAttributes& a, int i, double value);
double fraction_value(const buttonAttributes& a, int i, double fraction);
// Ends an attribute widget may have: finite, the minimum below the maximum,
// both within limits::max_attribute_value.
bool usable_range(double lo, double hi);
// The range a widget spans for a plug the host describes: `given` (two
// values) or the attribute's own (a switch's off and on, an enum's fields,
// a number's minimum and maximum), within whatever bounds it has. Empty
// when usable, else why not, for a message.
struct attribute_facts;
QString widget_range(const QString& plug, const attribute_facts& facts, const double* given, double& lo, double& hi);
// What the host must have for a plug to be set: empty, or why not.
QString settable_problem(const QString& plug, const attribute_facts& facts);
// What a checkbox click sets: the next whole step up from `value`, back to
// the minimum after the maximum (off and on for a two-value range).
double checkbox_next(const buttonAttributes& a, double value);

// setAttr for each plug, as MEL: plugs are checked names and the values
// finite numbers (others are left out), so nothing else can run.
QString set_attributes_mel(const QStringList& plugs, const QVector<double>& values);

// How a new attribute button of the widget looks: a dark track with a
// light label, sized for the widget.
button_look attribute_look(qint32 widget);

// Runs a command button's script in its language when the host is next
// idle; anything else runs nothing.
void run_button_script(const buttonAttributes& a);
