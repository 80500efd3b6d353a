// The directives that build and inspect buttons from scripts. A button is
// addressed by label or object name ("label", "arm") or, when the argument
// count says so, by a point (ignored word, x, y).
#include "edit/button_commands.h"
#include "edit/mirror_command.h"
#include "edit/property_commands.h"
#include "model/button_outline.h"
#include "model/limits.h"
#include "model/object_names.h"
#include "model/picker_host.h"
#include "model/scene_data.h"
#include "model/scene_room.h"
#include "model/side_patterns.h"
#include "model/undo_chunk.h"
#include "plugin/picker_main.h"
#include "plugin/string_lists.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <maya/MGlobal.h>
#include <maya/MQtUtil.h>

#include <QColor>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <QtNumeric>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace {

QString text_at(const MStringArray& args, unsigned i)
{
    return i < args.length() ? MQtUtil::toQString(args[i]) : QString();
}

MStatus fail(const QString& message)
{
    MGlobal::displayError(MQtUtil::toMString(message));
    return MStatus::kFailure;
}

MStatus wrong_count(const char* directive)
{
    return script_error(directive, "wrong number of arguments");
}

const char* const not_found = "Couldn't find any matching buttons!";
// The words that are no side pattern ('-' is no name character).
const QString patterns_flag = QStringLiteral("-patterns");
const QString default_flag = QStringLiteral("-default");
// Where a button's picture is reported.
const QString picture_word = QStringLiteral("picture");

// Arguments read strictly: a typo in a build script is an error that
// changes nothing, never a silent 0 or black.
struct reader {
    const char* directive;
    const MStringArray& args;
    MStatus status = MStatus::kSuccess;

    bool ok() const { return bool(status); }

    double number(unsigned i, const char* what)
    {
        const QString text = text_at(args, i);
        bool parsed = false;
        const double value = text.trimmed().toDouble(&parsed);
        if (ok() && (!parsed || !std::isfinite(value)))
            status = script_error(directive, QString("%1 must be a number, not \"%2\"").arg(what, text));
        return ok() ? value : 0.0;
    }

    // A position in picker coordinates, truncated like every stored one.
    int coordinate(unsigned i, const char* what)
    {
        const double value = number(i, what);
        if (ok() && std::fabs(value) > limits::max_coordinate)
            status = script_error(directive, QString("%1 must be between %2 and %3, not %4")
                                         .arg(what)
                                         .arg(-limits::max_coordinate)
                                         .arg(limits::max_coordinate)
                                         .arg(text_at(args, i)));
        return ok() ? int(value) : 0;
    }

    QPoint point(unsigned i)
    {
        const int x = coordinate(i, "x");
        const int y = coordinate(i + 1, "y");
        return QPoint(x, y);
    }

    // Sizes and flags; what is too large for a side is left to the view.
    int integer(unsigned i, const char* what)
    {
        const double value = number(i, what);
        return ok() ? int(qBound(-2147483648.0, value, 2147483647.0)) : 0;
    }

    int channel(unsigned i, const char* what)
    {
        const double value = number(i, what);
        if (ok() && (value < 0 || value > 255 || value != std::floor(value)))
            status = script_error(directive, QString("%1 must be a whole number from 0 to 255, not %2")
                                         .arg(what, text_at(args, i)));
        return ok() ? int(value) : 0;
    }

    QRgb color(unsigned i, const char* what)
    {
        const QString text = text_at(args, i);
        QColor color;
        color.setNamedColor(text.trimmed());
        if (ok() && !color.isValid())
            status = script_error(directive,
                                  QString("%1 must be a colour name or #rrggbb, not \"%2\"").arg(what, text));
        return ok() ? color.rgb() : QRgb(0);
    }
};

// The addressed button. Point form when the count is exactly pointCount,
// else name form, which needs the mode, the name and `further` values.
struct target {
    picker_page* page = nullptr;
    int index = -1;
    unsigned next = 0; // first argument after the address
    const buttonRecord& button() const { return page->at(index); }
};

// The first button that meets the test, or -1.
template <class Meets>
int find_first(const picker_page* page, Meets meets)
{
    const QList<buttonRecord>& buttons = page->buttons();
    for (int i = 0; i < buttons.size(); ++i)
        if (meets(buttons[i]))
            return i;
    return -1;
}

// Not found: the directive and the address are named, so a build script's
// log says which line missed which button.
MStatus not_found_at(const char* directive, const QString& address)
{
    return script_error(directive, QString("%1 (%2)").arg(not_found, address));
}

MStatus find_target(const char* directive, const MStringArray& args, unsigned pointCount, unsigned further,
                    target& t)
{
    // "label" and "object" always name a button; any other first word takes
    // the point form when the count is the point form's.
    const QString mode = text_at(args, 0);
    const bool named = mode == "label" || mode == "object";
    if (!named && args.length() == pointCount) {
        reader in{directive, args};
        const QPoint at = in.point(1);
        if (!in.ok())
            return in.status;
        // In picker coordinates, so a script finds the same button whatever
        // a view's zoom and pan.
        t.index = find_first(t.page, [&](const buttonRecord& r) { return outline_holds(r.bounds, r, at); });
        t.next = 3;
        if (t.index < 0)
            return not_found_at(directive, QString("at %1, %2").arg(at.x()).arg(at.y()));
        return MStatus::kSuccess;
    }
    if (args.length() != 2 + further)
        return wrong_count(directive);
    const QString name = text_at(args, 1);
    const bool by_label = mode == "label";
    t.index = by_label ? find_first(t.page, [&](const buttonRecord& r) { return r.label == name; })
                       : find_first(t.page, [&](const buttonRecord& r) { return r.names.contains(name); });
    t.next = 2;
    if (t.index < 0)
        return not_found_at(directive, QString("%1 \"%2\"").arg(by_label ? "label" : "object", name));
    return MStatus::kSuccess;
}

// Runs `act` on the addressed button of the current tab (the command has
// made sure there is one); a button that is not found is a failure.
template <class Act>
MStatus with_target(const char* directive, const MStringArray& args, unsigned pointCount, unsigned further,
                    Act act)
{
    target t{picker_main::current_page()};
    MStatus status = find_target(directive, args, pointCount, further, t);
    if (!status)
        return status;
    if constexpr (std::is_void_v<decltype(act(t))>) {
        act(t);
        return MStatus::kSuccess;
    } else {
        return act(t); // an action that can still refuse
    }
}

} // namespace

MStatus picker_main::move_button(const MStringArray& args)
{
    return with_target("move_button", args, 5, 2, [&](const target& t) -> MStatus {
        reader in{"move_button", args};
        const QPoint to = in.point(t.next);
        if (!in.ok())
            return in.status;
        t.page->move(t.index, to);
        return MStatus::kSuccess;
    });
}

MStatus picker_main::resize_button(const MStringArray& args)
{
    return with_target("resize_button", args, 5, 2, [&](const target& t) -> MStatus {
        reader in{"resize_button", args};
        const int w = in.integer(t.next, "width");
        const int h = in.integer(t.next + 1, "height");
        if (!in.ok())
            return in.status;
        t.page->resize(t.index, w, h);
        return MStatus::kSuccess;
    });
}

// Renaming and rebinding leave the picker's selection alone: it stays what
// the host has selected, so the next add_button binds that.
MStatus picker_main::rename_button(const MStringArray& args)
{
    return with_target("rename_button", args, 4, 1, [&](const target& t) {
        t.page->set_label(t.index, text_at(args, t.next));
    });
}

MStatus picker_main::update_button(const MStringArray& args)
{
    return with_target("update_button", args, 4, 1, [&](const target& t) {
        const QString name = text_at(args, t.next);
        {
            picker_page::hold hold(t.page);
            t.page->set_names(t.index, QStringList{name});
            // Lit only when the host has the new object selected.
            t.page->conform_to_selection();
        }
        // Bound all the same (the rig may come later), but named.
        if (t.button().kind == 0 && !picker_host::instance().missing_objects({name}).isEmpty())
            picker_host::instance().warn(QString("%1 - update_button: not in the scene: %2").arg(texts::command_name, name));
    });
}

MStatus picker_main::delete_button(const MStringArray& args)
{
    return with_target("delete_button", args, 3, 0, [&](const target& t) {
        t.page->remove(t.index);
    });
}

MStatus picker_main::query_button(const MStringArray& args)
{
    return with_target("query_button", args, 3, 0, [&](const target& t) {
        MPxCommand::clearResult();
        MPxCommand::appendToResult(QStringListToMStringArray(t.button().names));
    });
}

MStatus picker_main::get_button_bounds(const MStringArray& args)
{
    return with_target("get_button_bounds", args, 3, 0, [&](const target& t) {
        const QRect r = t.button().bounds;
        MPxCommand::clearResult();
        for (int v : {r.left(), r.top(), r.width(), r.height()})
            MPxCommand::appendToResult(MQtUtil::toMString(QString::number(v)));
    });
}

MStatus picker_main::get_button_properties(const MStringArray& args)
{
    return with_target("get_button_properties", args, 3, 0, [&](const target& t) {
        const buttonRecord& r = t.button();
        MPxCommand::clearResult();
        for (int v : {r.pos.x(), r.pos.y(), r.kind, r.language, r.size, r.width, r.height})
            MPxCommand::appendToResult(MQtUtil::toMString(QString::number(v)));
        MPxCommand::appendToResult(MQtUtil::toMString(QColor(QRgb(r.color)).name()));
        MPxCommand::appendToResult(MQtUtil::toMString(QColor(QRgb(r.labelColor)).name()));
        MPxCommand::appendToResult(MQtUtil::toMString(shape_name(r.shape)));
        const QPolygonF drawn = outline_points(QRectF(r.bounds), r);
        for (const QPointF& p : drawn)
            for (qreal v : {p.x(), p.y()})
                MPxCommand::appendToResult(MQtUtil::toMString(QString::number(qRound(v))));
        // A word no point is, so a script finds it after any points.
        if (!r.picture.isNull())
            for (const QString& v :
                 {picture_word, QString::number(r.picture.width()), QString::number(r.picture.height())})
                MPxCommand::appendToResult(MQtUtil::toMString(v));
    });
}

namespace {

// A polygon's points as the button draws them now, in picture pixels.
QJsonArray polygon_json(const buttonRecord& r)
{
    QJsonArray points;
    const QPolygonF drawn = outline_points(QRectF(r.bounds), r);
    for (const QPointF& p : drawn)
        points.append(QJsonArray{qRound(p.x()), qRound(p.y())});
    return points;
}

} // namespace

// set_button_shape ADDRESS SHAPE [x1 y1 x2 y2 ...]: a polygon's points are
// picture pixels; the button's centre and size become its bounding box's.
MStatus picker_main::set_button_shape(const MStringArray& args)
{
    const char* directive = "set_button_shape";
    const unsigned count = args.length();
    if (count < 3)
        return wrong_count(directive);
    target t{current_page()};
    // Names take two words and a point three, and the points come in
    // pairs: an even count is the point form.
    MStatus status = find_target(directive, args, count % 2 == 0 ? count : 0, count - 2, t);
    if (!status)
        return status;
    const QString word = text_at(args, t.next);
    const qint32 shape = shape_from_name(word);
    if (shape < 0)
        return script_error(directive,
                            QString("the shape must be rectangle, rounded, ellipse or polygon, not \"%1\"").arg(word));
    const unsigned first = t.next + 1, given = count - first;
    buttonAttributes a = t.button();
    a.shape = shape;
    a.points.clear();
    if (shape != qint32(button_shape::polygon)) {
        if (given)
            return script_error(directive, "only a polygon takes points");
    } else {
        if (given % 2)
            return script_error(directive, "the points must be pairs of x and y");
        const unsigned points = given / 2;
        if (points < unsigned(limits::min_polygon_points) || points > unsigned(limits::max_polygon_points))
            return script_error(directive, QString("a polygon needs %1 to %2 points, not %3")
                                               .arg(limits::min_polygon_points)
                                               .arg(limits::max_polygon_points)
                                               .arg(points));
        reader in{directive, args};
        QVector<QPoint> at;
        for (unsigned i = 0; i < points && in.ok(); ++i)
            at.append(in.point(first + 2 * i));
        if (!in.ok())
            return in.status;
        QRect box(at.first(), at.first());
        for (const QPoint& p : std::as_const(at))
            box |= QRect(p, p);
        // Corners to corners: the box spans from the least to the greatest.
        const int w = box.width() - 1, h = box.height() - 1;
        if (w < 1 || h < 1)
            return script_error(directive, "the polygon's points must span some width and height");
        if (w > limits::max_button_side || h > limits::max_button_side)
            return script_error(directive, QString("a polygon is at most %1 pixels wide and high")
                                               .arg(limits::max_button_side));
        // Centred as a box of that size is (see picker_page::lay_out).
        a.pos = QPoint(box.left() + (w - 1) / 2, box.top() + (h - 1) / 2);
        a.size = a.width = w;
        a.height = h;
        for (const QPoint& p : std::as_const(at))
            a.points.append(p - a.pos);
    }
    if (a == t.button())
        return MStatus::kSuccess;
    push_step(t.page, new edit_button_cmd(t.page, t.button().id, a, "Button Shape"));
    return MStatus::kSuccess;
}

// set_button_image ADDRESS FILE.png, or "" for none.
MStatus picker_main::set_button_image(const MStringArray& args)
{
    const char* directive = "set_button_image";
    if (args.length() < 3)
        return wrong_count(directive);
    return with_target(directive, args, 4, 1, [&](const target& t) -> MStatus {
        const QString file = text_at(args, t.next);
        png_picture picture;
        if (!file.isEmpty()) {
            QString why;
            picture = load_button_picture(file, &why);
            if (picture.isNull())
                return script_error(directive, why);
            if (!within_scene_budget(book()->scene_pictures() << picture))
                return script_error(directive, QString("\"%1\" was not set: %2").arg(file, scene_budget_exceeded()));
        }
        if (picture == t.button().picture)
            return MStatus::kSuccess;
        buttonAttributes a = t.button();
        a.picture = picture;
        push_step(t.page, new edit_button_cmd(t.page, t.button().id, a, picture_step_text));
        return MStatus::kSuccess;
    });
}

MStatus picker_main::set_button_properties(const MStringArray& args)
{
    return with_target("set_button_properties", args, 13, 10, [&](const target& t) -> MStatus {
        const unsigned n = t.next;
        auto given = [&](unsigned i) { return !text_at(args, n + i).isEmpty(); };
        // Everything is read before anything changes, so a bad value leaves
        // the button as it was.
        reader in{"set_button_properties", args};
        const bool move = given(1) && given(2);
        const QPoint to = move ? in.point(n + 1) : QPoint();
        const char* const names[] = {"kind", "language", "size", "width", "height"};
        int values[5] = {};
        for (unsigned i = 0; i < 5; ++i)
            if (given(3 + i))
                values[i] = in.integer(n + 3 + i, names[i]);
        const QRgb color = given(8) ? in.color(n + 8, "color") : 0;
        const QRgb labelColor = given(9) ? in.color(n + 9, "labelColor") : 0;
        if (!in.ok())
            return in.status;
        // An attribute button's plugs are no objects nor a script.
        if (given(3) && t.button().kind == attribute_kind)
            return script_error("set_button_properties", "an attribute button's kind cannot change");
        // A kind or language other than 0 or 1 would make the button vanish the
        // next time the picker is read.
        for (unsigned i : {0u, 1u}) {
            if (given(3 + i) && values[i] != 0 && values[i] != 1)
                return script_error("set_button_properties",
                            QString("%1 must be 0 or 1, not %2").arg(names[i], text_at(args, n + 3 + i)));
        }
        buttonAttributes a = t.button();
        if (given(0))
            a.label = text_at(args, n);
        if (move)
            a.pos = to;
        int* fields[] = {&a.kind, &a.language, &a.size, &a.width, &a.height};
        for (unsigned i = 0; i < 5; ++i)
            if (given(3 + i))
                *fields[i] = values[i];
        if (given(8))
            a.color = color;
        if (given(9))
            a.labelColor = labelColor;
        picker_page::hold hold(t.page);
        t.page->set_attributes(t.index, a);
        t.page->conform_to_selection();
        return MStatus::kSuccess;
    });
}

MStatus picker_main::color_directive(const MStringArray& args, bool label)
{
    const char* directive = label ? "color_button_text" : "color_button";
    target t{current_page()};
    const unsigned count = args.length();
    if (count < 3 || count > 6)
        return wrong_count(directive);
    // Six and four arguments address a point; five and three a name.
    const unsigned pointCount = (count == 6 || count == 4) ? count : 0;
    MStatus status = find_target(directive, args, pointCount, count - 2, t);
    if (!status)
        return status;
    reader in{directive, args};
    QRgb rgb;
    if (count >= 5) {
        const int red = in.channel(t.next, "red");
        const int green = in.channel(t.next + 1, "green");
        const int blue = in.channel(t.next + 2, "blue");
        rgb = qRgb(red, green, blue);
    } else {
        rgb = in.color(t.next, "the colour");
    }
    if (!in.ok())
        return in.status;
    if (label)
        t.page->set_label_color(t.index, rgb);
    else
        t.page->set_color(t.index, rgb);
    return MStatus::kSuccess;
}

MStatus picker_main::color_button(const MStringArray& args)
{
    return color_directive(args, false);
}

MStatus picker_main::color_button_text(const MStringArray& args)
{
    return color_directive(args, true);
}

namespace {
// Both add directives: a button centred on (x, y) in picker coordinates.
// Size and colours are fixed, not the toolbox's, which follows whatever was
// last selected: a build script gives the same picker every run. A
// selection button takes what the host has selected now; a command button
// needs nothing selected.
MStatus add_one(const char* directive, const MStringArray& args, int kind, int language, QStringList names)
{
    picker_page* page = picker_main::current_page();
    if (args.length() < 2)
        return wrong_count(directive);
    reader in{directive, args};
    const QPoint at = in.point(0);
    if (!in.ok())
        return in.status;
    if (kind == 0) {
        MStatus status = picker_main::host_selection(names);
        if (!status) {
            report_error(status, QString("%1: could not get the current selection").arg(directive));
            return status;
        }
        if (names.isEmpty())
            return MStatus::kSuccess; // a button for nothing would be dropped on the next load
    }
    QString why = too_many_names(names.size());
    if (why.isEmpty())
        why = no_room(picker_main::book()->pages(), page, 1, 0, std::max(1, int(names.size())));
    if (!why.isEmpty())
        return script_error(directive, why);
    button_look look;
    look.label = text_at(args, 2);
    picker_page::hold hold(page);
    page->insert(new_button(at, look, kind, language, names));
    page->conform_to_selection();
    return MStatus::kSuccess;
}
} // namespace

MStatus picker_main::add_button(const MStringArray& args)
{
    return add_one("add_button", args, 0, 0, QStringList());
}

MStatus picker_main::add_cmd_button(const MStringArray& args)
{
    return add_one("add_cmd_button", args, 1, text_at(args, 3) == "python" ? 1 : 0, QStringList{text_at(args, 4)});
}

// ----- Attribute buttons

// add_attribute_button X Y LABEL slider|slider2d|checkbox PLUG [MIN MAX] [PLUG2 [MIN2 MAX2]]
MStatus picker_main::add_attribute_button(const MStringArray& args)
{
    const char* directive = "add_attribute_button";
    const unsigned count = args.length();
    if (count < 5)
        return wrong_count(directive);
    reader in{directive, args};
    const QPoint at = in.point(0);
    if (!in.ok())
        return in.status;
    const QString word = text_at(args, 3);
    const qint32 widget = widget_from_name(word);
    if (widget < 0)
        return script_error(directive, QString("the widget must be slider, slider2d or checkbox, not \"%1\"").arg(word));
    const int plugs = widget_plugs(widget);
    button_look look = attribute_look(widget);
    look.label = text_at(args, 2);
    buttonAttributes a = new_button(at, look, attribute_kind);
    a.widget = widget;
    unsigned i = 4;
    while (i < count) {
        if (a.names.size() == plugs)
            return wrong_count(directive);
        const QString plug = text_at(args, i++);
        const attribute_facts facts =
            is_plug_name(plug) ? picker_host::instance().attribute_facts_of(plug) : attribute_facts();
        const QString problem = settable_problem(plug, facts);
        if (!problem.isEmpty())
            return script_error(directive, problem);
        // A range follows unless the next word is the next attribute.
        double given[2] = {0, 0};
        const bool ranged = i < count && !is_plug_name(text_at(args, i));
        if (ranged) {
            if (i + 1 >= count)
                return wrong_count(directive);
            given[0] = in.number(i, "the minimum");
            given[1] = in.number(i + 1, "the maximum");
            if (!in.ok())
                return in.status;
            i += 2;
        }
        const int k = a.names.size();
        const QString why = widget_range(plug, facts, ranged ? given : nullptr, a.minimum[k], a.maximum[k]);
        if (!why.isEmpty())
            return script_error(directive, why);
        a.names << plug;
    }
    if (a.names.size() != plugs)
        return script_error(directive, plugs == 2 ? QString("a slider2d needs two attributes")
                                                  : QString("a %1 needs one attribute").arg(word));
    picker_page* page = current_page();
    const QString why = no_room(book()->pages(), page, 1, 0, a.names.size());
    if (!why.isEmpty())
        return script_error(directive, why);
    page->insert(std::move(a));
    return MStatus::kSuccess;
}

// Sets the plugs as one step of the host's undo queue, undone and redone
// by this command; the values are what the host holds after.
MStatus picker_main::set_attribute_step(const char* directive, const QStringList& plugs, QVector<double> values)
{
    const QVector<double> before = picker_host::instance().attribute_values(plugs);
    for (double v : before)
        if (std::isnan(v))
            return script_error(directive, QString("%1 cannot be read").arg(plugs.join(", ")));
    if (!set_attributes_now(plugs, values))
        return script_error(directive, QString("could not set %1").arg(plugs.join(", ")));
    attributePlugs_ = plugs;
    attributesBefore_ = before;
    attributesAfter_ = picker_host::instance().attribute_values(plugs);
    undoable_ = true;
    attributeStep_ = true;
    return MStatus::kSuccess;
}

// set_attribute_button ADDRESS VALUE [VALUE2]: what a drag to the value
// does, a click's step for a checkbox.
MStatus picker_main::set_attribute_button(const MStringArray& args)
{
    const char* directive = "set_attribute_button";
    const unsigned count = args.length();
    if (count < 3)
        return wrong_count(directive);
    target t{current_page()};
    MStatus status = find_target(directive, args, count, count - 2, t);
    if (!status)
        return status;
    const buttonRecord& r = t.button();
    if (r.kind != attribute_kind)
        return script_error(directive, "the button sets no attribute");
    const int plugs = r.names.size();
    if (int(count - t.next) != plugs)
        return script_error(directive, plugs == 2 ? QString("a slider2d takes two values")
                                                  : QString("a %1 takes one value").arg(widget_name(r.widget)));
    reader in{directive, args};
    QVector<double> values;
    for (int i = 0; i < plugs; ++i)
        values << in.number(t.next + unsigned(i), i ? "the second value" : "the value");
    if (!in.ok())
        return in.status;
    for (int i = 0; i < plugs; ++i) {
        values[i] = std::clamp(values[i], r.minimum[i], r.maximum[i]);
        if (r.widget == qint32(attribute_widget::checkbox))
            values[i] = std::round(values[i]);
    }
    return set_attribute_step(directive, r.names, values);
}

// get_attribute_button ADDRESS: the widget, then each plug with its range,
// then the values the host holds now.
MStatus picker_main::get_attribute_button(const MStringArray& args)
{
    return with_target("get_attribute_button", args, 3, 0, [&](const target& t) -> MStatus {
        const buttonRecord& r = t.button();
        if (r.kind != attribute_kind)
            return script_error("get_attribute_button", "the button sets no attribute");
        QStringList out{widget_name(r.widget)};
        for (int i = 0; i < r.names.size(); ++i)
            out << r.names[i] << QString::number(r.minimum[i]) << QString::number(r.maximum[i]);
        const QVector<double> values = picker_host::instance().attribute_values(r.names);
        for (double v : values)
            out << (std::isnan(v) ? QString() : QString::number(v));
        MPxCommand::clearResult();
        MPxCommand::appendToResult(QStringListToMStringArray(out));
        return MStatus::kSuccess;
    });
}

// Exactly a click: the selection reaches the host, and a script runs, when
// the host is next idle.
MStatus picker_main::press_button(const MStringArray& args)
{
    if (args.length() != 2 && args.length() != 3)
        return wrong_count("press_button");
    return with_target("press_button", args, 3, 0, [&](const target& t) -> MStatus {
        const buttonRecord& r = t.button();
        if (picker_view* view = r.kind == attribute_kind ? nullptr : view_of(t.page)) {
            view->press_button(t.index);
            return MStatus::kSuccess;
        }
        // A switch steps at once, as one step of the host's undo queue.
        if (r.kind == attribute_kind) {
            if (r.widget != qint32(attribute_widget::checkbox))
                return script_error("press_button", "a slider is dragged, not pressed: use set_attribute_button");
            const QVector<double> now = picker_host::instance().attribute_values(r.names);
            return set_attribute_step("press_button", r.names, {checkbox_next(r, now.value(0))});
        }
        // Without a window nothing waits for idle time: the button acts now.
        if (r.kind == 1) {
            run_button_script(r);
            return MStatus::kSuccess;
        }
        return select_objects(QStringListToMStringArray(r.names));
    });
}

// mirror_buttons [x [colour [label colour]]] [-patterns A B ...]: the fully
// selected buttons about x (empty: the picture's middle), the copies
// optionally recoloured, their names mapped by the picker's side patterns
// or by those given for this call alone. Nothing is made when any button's
// names would not map: its copy would select the side it came from.
MStatus picker_main::mirror_buttons(const MStringArray& args)
{
    const char* directive = "mirror_buttons";
    picker_page* page = current_page();
    const QStringList all = MStringArrayToQStringList(args);
    const int flag = all.indexOf(patterns_flag);
    const QStringList given = flag < 0 ? QStringList() : all.mid(flag + 1);
    if (flag >= 0) {
        const QString why = given.isEmpty() ? QString("%1 needs at least one pair").arg(patterns_flag)
                                            : side_patterns::check(given);
        if (!why.isEmpty())
            return script_error(directive, why);
    }
    const unsigned positional = flag < 0 ? args.length() : unsigned(flag);
    if (positional > 3)
        return wrong_count(directive);
    const QStringList pairs = flag < 0 ? page->mirror_patterns() : given;
    reader in{directive, args};
    int twiceAxis = mirror::default_twice_axis(page);
    if (positional > 0 && !text_at(args, 0).isEmpty()) {
        const double x = in.number(0, "x");
        if (in.ok() && std::fabs(x) > limits::max_coordinate)
            in.status = script_error(directive, QString("x must be between %1 and %2, not %3")
                                                    .arg(-limits::max_coordinate)
                                                    .arg(limits::max_coordinate)
                                                    .arg(text_at(args, 0)));
        twiceAxis = int(std::lround(2 * x));
    }
    const bool recolour = positional > 1 && !text_at(args, 1).isEmpty();
    const bool relabel = positional > 2 && !text_at(args, 2).isEmpty();
    const QRgb color = recolour ? in.color(1, "the colour") : 0;
    const QRgb labelColor = relabel ? in.color(2, "the label colour") : 0;
    if (!in.ok())
        return in.status;
    int alreadyThere = 0;
    QStringList unmapped;
    QList<buttonAttributes> copies =
        mirror::mirrored_copies(page, page->lit_rows(), twiceAxis, pairs, &alreadyThere, &unmapped);
    if (!unmapped.isEmpty())
        return script_error(directive, "nothing was mirrored: " + mirror::unmapped_reason(unmapped, pairs));
    const QString why = no_room(book()->pages(), page, copies.size(), 0, names_in(copies));
    if (!why.isEmpty())
        return script_error(directive, why);
    if (copies.isEmpty() && alreadyThere == 0)
        return fail(not_found);
    MPxCommand::clearResult();
    if (copies.isEmpty())
        return MStatus::kSuccess; // the other side is there already
    for (buttonAttributes& a : copies) {
        if (recolour)
            a.color = color;
        if (relabel)
            a.labelColor = labelColor;
        // A copy pushed past the limit could not be read back.
        if (std::abs(a.pos.x()) > limits::max_coordinate)
            return script_error(directive, QString("a copy would land at x = %1, beyond the picture's limits")
                                               .arg(a.pos.x()));
    }
    push_step(page, new mirror_buttons_cmd(page, copies));
    QStringList missing;
    const QStringList report = mirror::missing_report(copies, &missing);
    if (!report.isEmpty())
        picker_host::instance().warn(mirror::missing_warning(directive, report));
    MPxCommand::appendToResult(QStringListToMStringArray(missing));
    return MStatus::kSuccess;
}

// set_mirror_patterns [-default] A B [A B ...]: pairs of side patterns for
// the current picker, which keeps them in its file and the scene; with
// -default, the user's default instead (for new pickers, and pickers read
// from files or scenes that carry none), kept for later sessions. No pairs:
// the picker takes the user's default, or the default goes back to the
// built-in pairs.
MStatus picker_main::set_mirror_patterns(const MStringArray& args)
{
    const char* directive = "set_mirror_patterns";
    QStringList pairs = MStringArrayToQStringList(args);
    const bool user_default = !pairs.isEmpty() && pairs.first() == default_flag;
    if (user_default)
        pairs.removeFirst();
    const QString why = side_patterns::check(pairs);
    if (!why.isEmpty())
        return script_error(directive, why);
    if (user_default) {
        side_patterns::set_user_default(pairs);
        return MStatus::kSuccess;
    }
    // Pairs set for no picker would be lost without a word.
    picker_page* page = current_page();
    if (!page)
        return script_error(directive, QString("there is no picker to set them for (%1 sets the pairs new "
                                               "pickers start with)").arg(default_flag));
    page->set_mirror_patterns(pairs.isEmpty() ? side_patterns::user_default() : pairs);
    return MStatus::kSuccess;
}

// get_mirror_patterns [-default]: the current picker's pairs (without a
// picker, the user's default), or with -default the user's default.
MStatus picker_main::get_mirror_patterns(const MStringArray& args)
{
    const QStringList given = MStringArrayToQStringList(args);
    if (given.size() > 1 || (given.size() == 1 && given.first() != default_flag))
        return wrong_count("get_mirror_patterns");
    const picker_page* page = given.isEmpty() ? current_page() : nullptr;
    MPxCommand::clearResult();
    MPxCommand::appendToResult(
        QStringListToMStringArray(page ? page->mirror_patterns() : side_patterns::user_default()));
    return MStatus::kSuccess;
}

// ----- Whole pickers

// Every button of the current tab, as one JSON text a script parses.
MStatus picker_main::query_buttons(const MStringArray&)
{
    QJsonArray list;
    for (const buttonRecord& r : current_page()->buttons()) {
        QJsonObject b;
        b["label"] = r.label;
        b["kind"] = r.kind == command_kind ? "command" : r.kind == attribute_kind ? "attribute" : "select";
        b["names"] = QJsonArray::fromStringList(r.names);
        b["x"] = r.pos.x();
        b["y"] = r.pos.y();
        b["width"] = r.width;
        b["height"] = r.height;
        b["bounds"] = QJsonArray{r.bounds.left(), r.bounds.top(), r.bounds.width(), r.bounds.height()};
        b["color"] = QColor(QRgb(r.color)).name();
        b["labelColor"] = QColor(QRgb(r.labelColor)).name();
        if (r.kind == 1)
            b["language"] = r.language == 1 ? "python" : "mel";
        b["shape"] = shape_name(r.shape);
        if (r.shape == qint32(button_shape::polygon))
            b["points"] = polygon_json(r);
        if (r.kind == attribute_kind) {
            b["widget"] = widget_name(r.widget);
            QJsonArray ranges;
            for (int i = 0; i < r.names.size() && i < 2; ++i)
                ranges.append(QJsonArray{r.minimum[i], r.maximum[i]});
            b["ranges"] = ranges;
        }
        if (!r.picture.isNull())
            b[picture_word] = QJsonArray{r.picture.width(), r.picture.height()};
        list.append(b);
    }
    MPxCommand::setResult(MQtUtil::toMString(QString::fromUtf8(QJsonDocument(list).toJson(QJsonDocument::Compact))));
    return MStatus::kSuccess;
}

MStatus picker_main::get_background(const MStringArray&)
{
    const picker_page* page = current_page();
    MPxCommand::clearResult();
    MStringArray result;
    if (!page->background_key().isEmpty()) {
        const QSize size = page->background().size();
        for (const QString& v : {page->background_key(), QString::number(size.width()), QString::number(size.height())})
            result.append(MQtUtil::toMString(v));
    }
    MPxCommand::setResult(result);
    return MStatus::kSuccess;
}

MStatus picker_main::current_tab(const MStringArray&)
{
    MPxCommand::setResult(MQtUtil::toMString(current_page()->name()));
    return MStatus::kSuccess;
}

// Every object a button of the current tab needs that the scene lacks:
// selection buttons' objects, and the object names in command scripts.
MStatus picker_main::check_bindings(const MStringArray&)
{
    const picker_page* page = current_page();
    QSet<QString> bound;
    for (const buttonRecord& r : page->buttons())
        if (names_scene_objects(r.kind))
            for (const QString& name : r.names)
                bound.insert(name.left(node_end(name)));
    MStringArray result;
    for (const buttonRecord& r : page->buttons()) {
        QStringList missing;
        if (r.kind == attribute_kind) {
            // The attribute, not only its node: a rig may lose one.
            for (const QString& plug : r.names)
                if (!picker_host::instance().attribute_facts_of(plug).exists)
                    missing << plug;
        } else {
            missing = picker_host::instance().missing_objects(
                r.kind == selection_kind ? r.names : script_object_nodes(r.names.value(0), r.language == 1, bound));
        }
        for (const QString& name : std::as_const(missing))
            result.append(MQtUtil::toMString(QString("button \"%1\": missing %2").arg(r.label, name)));
    }
    MPxCommand::setResult(result);
    return MStatus::kSuccess;
}
