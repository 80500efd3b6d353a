// The directives that build and inspect buttons from scripts. A button is
// addressed by label or object name ("label", "arm") or, when the argument
// count says so, by a point (ignored word, x, y).
#include "plugin/picker_main.h"
#include "plugin/string_lists.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <maya/MGlobal.h>
#include <maya/MQtUtil.h>

#include <QColor>

#include <cmath>
#include <type_traits>
#include <cstdlib>

namespace {

QString text_at(const MStringArray& args, unsigned i)
{
    return i < args.length() ? MQtUtil::toQString(args[i]) : QString();
}

// Numbers read as Maya reads them from text: the leading number, else 0.
double number_at(const MStringArray& args, unsigned i)
{
    const QByteArray text = text_at(args, i).toUtf8();
    const double value = std::strtod(text.constData(), nullptr);
    return std::isfinite(value) ? value : 0.0;
}

int int_at(const MStringArray& args, unsigned i)
{
    const double value = number_at(args, i);
    if (value >= 2147483647.0)
        return 2147483647;
    if (value <= -2147483648.0)
        return -2147483647 - 1;
    return int(value);
}

MStatus fail(const QString& message)
{
    MGlobal::displayError(MQtUtil::toMString(message));
    return MStatus::kFailure;
}

MStatus wrong_count(const char* directive)
{
    return fail(QString("%1 - %2: wrong number of arguments").arg(texts::command_name, directive));
}

const char* const not_found = "Couldn't find any matching buttons!";

// The addressed button. Point form when the count is exactly pointCount,
// else name form, which needs the mode, the name and `further` values.
struct target {
    picker_view* view = nullptr;
    int index = -1;
    unsigned next = 0; // first argument after the address
    buttonRecord& button() const { return view->buttons[index]; }
};

MStatus find_target(const char* directive, const MStringArray& args, unsigned pointCount, unsigned further,
                    target& t)
{
    if (args.length() == pointCount) {
        QPoint at(int(number_at(args, 1)), int(number_at(args, 2)));
        t.index = t.view->find_button_index(at);
        t.next = 3;
    } else {
        if (args.length() < 2 + further)
            return wrong_count(directive);
        const QString name = text_at(args, 1);
        t.index = text_at(args, 0) == "label" ? t.view->find_button_index_from_label(name)
                                              : t.view->find_button_index_from_object(name);
        t.next = 2;
    }
    if (t.index < 0)
        return fail(not_found);
    return MStatus::kSuccess;
}

// The picker's own highlight only; the host is not told.
void select_in_picker(const target& t)
{
    if (picker_window* w = picker_main::picker())
        w->clearAllSelected();
    t.button().select(false);
    t.view->conform_to_selection();
    t.view->refresh();
}

void changed(picker_view* view)
{
    view->refresh();
    if (!in_batch_mode) {
        view->signal_changed();
        view->update_toolbox();
    }
}

QRgb color_from_name(const QString& name)
{
    QColor color;
    color.setNamedColor(name);
    return color.rgb();
}

int channel(int v)
{
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}

// Runs `act` on the addressed button of the current tab; no tab is a silent
// success, a button that is not found the usual failure.
template <class Act>
MStatus with_target(const char* directive, const MStringArray& args, unsigned pointCount, unsigned further,
                    Act act)
{
    target t{picker_main::current_view()};
    if (!t.view)
        return MStatus::kSuccess;
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
    return with_target("move_button", args, 5, 2, [&](const target& t) {
        t.button().moveTo(QPoint(int(number_at(args, t.next)), int(number_at(args, t.next + 1))));
        t.view->conform_to_selection();
        changed(t.view);
    });
}

MStatus picker_main::resize_button(const MStringArray& args)
{
    return with_target("resize_button", args, 5, 2, [&](const target& t) {
        t.view->set_button_size(t.button(), int_at(args, t.next), int_at(args, t.next + 1));
        changed(t.view);
    });
}

MStatus picker_main::rename_button(const MStringArray& args)
{
    return with_target("rename_button", args, 4, 1, [&](const target& t) {
        select_in_picker(t);
        t.view->set_button_label(t.button(), text_at(args, t.next));
        changed(t.view);
    });
}

MStatus picker_main::update_button(const MStringArray& args)
{
    return with_target("update_button", args, 4, 1, [&](const target& t) {
        buttonRecord& r = t.button();
        r.names = QStringList{text_at(args, t.next)};
        r.nameFlags.resize(1);
        r.select(false);
        changed(t.view);
    });
}

MStatus picker_main::delete_button(const MStringArray& args)
{
    return with_target("delete_button", args, 3, 0, [&](const target& t) {
        t.view->pop_button(t.index);
        changed(t.view);
    });
}

MStatus picker_main::query_button(const MStringArray& args)
{
    return with_target("query_button", args, 3, 0, [&](const target& t) {
        select_in_picker(t);
        MPxCommand::clearResult();
        MPxCommand::appendToResult(QStringListToMStringArray(t.button().names));
    });
}

MStatus picker_main::get_button_bounds(const MStringArray& args)
{
    return with_target("get_button_bounds", args, 3, 0, [&](const target& t) {
        select_in_picker(t);
        const QRect r = t.button().bounds;
        MPxCommand::clearResult();
        for (int v : {r.left(), r.top(), r.width(), r.height()})
            MPxCommand::appendToResult(MQtUtil::toMString(QString::number(v)));
    });
}

MStatus picker_main::get_button_properties(const MStringArray& args)
{
    return with_target("get_button_properties", args, 3, 0, [&](const target& t) {
        select_in_picker(t);
        const buttonRecord& r = t.button();
        MPxCommand::clearResult();
        for (int v : {r.pos.x(), r.pos.y(), r.kind, r.language, r.size, r.width, r.height})
            MPxCommand::appendToResult(MQtUtil::toMString(QString::number(v)));
        MPxCommand::appendToResult(MQtUtil::toMString(QColor(QRgb(r.color)).name()));
        MPxCommand::appendToResult(MQtUtil::toMString(QColor(QRgb(r.labelColor)).name()));
    });
}

MStatus picker_main::set_button_properties(const MStringArray& args)
{
    return with_target("set_button_properties", args, 13, 10, [&](const target& t) -> MStatus {
        const unsigned n = t.next;
        auto value = [&](unsigned i) { return text_at(args, n + i); };
        // A kind or language other than 0 or 1 would make the button vanish the
        // next time the picker is read; refuse it before changing anything.
        for (unsigned i : {3u, 4u}) {
            if (!value(i).isEmpty() && int_at(args, n + i) != 0 && int_at(args, n + i) != 1)
                return fail(QString("%1 - set_button_properties: %2 must be 0 or 1, not %3")
                                .arg(texts::command_name, i == 3 ? "kind" : "language", value(i)));
        }
        buttonRecord& r = t.button();
        if (!value(0).isEmpty())
            t.view->set_button_label(r, value(0));
        if (!value(1).isEmpty() && !value(2).isEmpty())
            r.moveTo(QPoint(int(number_at(args, n + 1)), int(number_at(args, n + 2))));
        int* fields[] = {&r.kind, &r.language, &r.size, &r.width, &r.height};
        for (unsigned i = 0; i < 5; ++i)
            if (!value(3 + i).isEmpty())
                *fields[i] = int_at(args, n + 3 + i);
        if (!value(8).isEmpty())
            r.color = color_from_name(value(8));
        if (!value(9).isEmpty())
            r.labelColor = color_from_name(value(9));
        t.view->set_button_size(r, r.width, r.height);
        t.view->conform_to_selection();
        changed(t.view);
        return MStatus::kSuccess;
    });
}

MStatus picker_main::color_directive(const MStringArray& args, bool label)
{
    const char* directive = label ? "color_button_text" : "color_button";
    target t{current_view()};
    if (!t.view)
        return MStatus::kSuccess;
    const unsigned count = args.length();
    if (count < 3 || count > 6)
        return wrong_count(directive);
    // Six and four arguments address a point; five and three a name.
    const unsigned pointCount = (count == 6 || count == 4) ? count : 0;
    MStatus status = find_target(directive, args, pointCount, count - 2, t);
    if (!status)
        return status;
    QRgb rgb;
    if (count >= 5)
        rgb = QColor(channel(int_at(args, t.next)), channel(int_at(args, t.next + 1)),
                     channel(int_at(args, t.next + 2)))
                  .rgb();
    else
        rgb = color_from_name(text_at(args, t.next));
    buttonRecord& r = t.button();
    if (label) {
        r.labelColor = rgb;
        t.view->update_label(r);
    } else {
        r.color = rgb;
    }
    changed(t.view);
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
// Both add directives: a button at the point (x, y) with the toolbox's size
// and colours. Nothing is added while nothing is selected in the host.
MStatus add_one(const char* directive, const MStringArray& args, int kind, const QString& label,
                const QStringList& names, int language)
{
    picker_window* w = picker_main::picker();
    picker_view* view = picker_main::current_view();
    if (!view)
        return MStatus::kSuccess;
    if (args.length() < 2)
        return wrong_count(directive);
    if (picker_window::selection().isEmpty())
        return MStatus::kSuccess;
    buttonAttributes a;
    a.pos = view->mapToPicker(QPoint(int(number_at(args, 0)), int(number_at(args, 1))));
    a.size = a.width = w->currentWidth();
    a.height = w->currentHeight();
    a.kind = kind;
    a.language = language;
    a.color = w->currentColor();
    a.labelColor = w->currentTextColor();
    a.label = label;
    a.names = names;
    view->push_button(a, -1);
    view->conform_to_selection();
    changed(view);
    return MStatus::kSuccess;
}
} // namespace

MStatus picker_main::add_button(const MStringArray& args)
{
    return add_one("add_button", args, 0, text_at(args, 2), picker_window::selection(), 0);
}

MStatus picker_main::add_cmd_button(const MStringArray& args)
{
    return add_one("add_cmd_button", args, 1, text_at(args, 2), QStringList{text_at(args, 4)},
                   text_at(args, 3) == "python" ? 1 : 0);
}
