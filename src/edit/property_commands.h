// Undoable changes of the targeted buttons' properties (see
// picker_page::target_rows). Each command captures its buttons (by id) and
// the values they lose when made; a run of the same change on the same
// buttons merges into one entry. Their texts are the words of the toolbox
// and the menus that make them, so the Edit menu reads like them.
#pragma once

#include "model/picker_page.h"

#include <QPoint>
#include <QSize>
#include <QString>
#include <QUndoCommand>
#include <QVector>

// What moving n buttons is called, by a drag or by the arrow keys.
inline QString move_text(int n)
{
    return n == 1 ? "Move Button" : "Move Buttons";
}

// What setting or removing a button's picture is called, from the menu or
// a script.
const char* const picture_step_text = "Button Picture";

// The command ids the undo stack merges by; one place for all of them.
namespace command_id {
enum : int {
    add_button = 0,
    arrange = 1,
    move_buttons = 2,
    change_color = 3,
    change_width = 4,
    change_height = 5,
    adjust_size = 6,
    delete_buttons = 7,
    update_buttons = 8,
    nudge = 9,
    change_label = 10,
    change_label_color = 11,
    cut = 12,
    paste = 13,
    add_many = 14,
    mirror = 15,
    edit_button = 16,
    change_picture = 17,
    change_shape = 18
};
}

// One field of the selected buttons set from a parameter. The field says how
// to read and write it on the page, what a parameter makes of a button's old
// value, and whether the next step's parameter folds into this one.
template <class Field>
class field_change_cmd : public QUndoCommand {
public:
    using value_type = typename Field::value_type;
    using param_type = typename Field::param_type;

    field_change_cmd(picker_page* page, const param_type& param) : page(page), param(param)
    {
        for (int row : page->target_rows()) {
            ids.append(page->at(row).id);
            old.append(Field::read(page->at(row)));
        }
        setText(Field::text(param, ids.size()));
    }

    void redo() override
    {
        apply([this](int i) { return Field::target(old[i], param); });
    }
    void undo() override
    {
        apply([this](int i) { return old[i]; });
    }
    int id() const override { return Field::command; }
    bool mergeWith(const QUndoCommand* other) override
    {
        // Commands sharing an id (the two adjusts) are not the same change.
        const auto* next = dynamic_cast<const field_change_cmd*>(other);
        return next && next->ids == ids && Field::merge(param, next->param);
    }

private:
    // Nothing at all happens for an empty capture, so an edit with nothing
    // selected does not mark the scene modified. A button a script removed
    // behind the history is skipped.
    template <class Value>
    void apply(Value value)
    {
        picker_page::hold hold(page);
        for (int i = 0; i < ids.size(); ++i) {
            const int row = page->row_of(ids[i]);
            if (row >= 0)
                Field::write(*page, row, value(i));
        }
    }

    picker_page* page;
    param_type param;
    QVector<button_id> ids;
    QVector<value_type> old;
};

namespace fields {

// A value set outright; a run of them keeps the last.
template <class T>
struct set_to {
    using value_type = T;
    using param_type = T;
    static T target(const T&, const T& param) { return param; }
    static bool merge(T& param, const T& next)
    {
        param = next;
        return true;
    }
};

struct color : set_to<quint32> {
    static QString text(quint32, int) { return "Button Color"; }
    static constexpr int command = command_id::change_color;
    static quint32 read(const buttonRecord& r) { return r.color; }
    static void write(picker_page& p, int row, quint32 v) { p.set_color(row, v); }
};

struct label_color : set_to<quint32> {
    static QString text(quint32, int) { return "Label Color"; }
    static constexpr int command = command_id::change_label_color;
    static quint32 read(const buttonRecord& r) { return r.labelColor; }
    static void write(picker_page& p, int row, quint32 v) { p.set_label_color(row, v); }
};

struct width : set_to<int> {
    static QString text(int, int) { return "Button Width"; }
    static constexpr int command = command_id::change_width;
    static int read(const buttonRecord& r) { return r.width; }
    static void write(picker_page& p, int row, int v) { p.set_width(row, v); }
};

struct height : set_to<int> {
    static QString text(int, int) { return "Button Height"; }
    static constexpr int command = command_id::change_height;
    static int read(const buttonRecord& r) { return r.height; }
    static void write(picker_page& p, int row, int v) { p.set_height(row, v); }
};

// Each label edit is a step of its own.
struct label : set_to<QString> {
    static QString text(const QString&, int) { return "Button Label"; }
    static constexpr int command = command_id::change_label;
    static QString read(const buttonRecord& r) { return r.label; }
    static void write(picker_page& p, int row, const QString& v) { p.set_label(row, v); }
    static bool merge(QString&, const QString&) { return false; }
};

// A side grown or shrunk by a step, at least 1. Growing and then shrinking
// stay two entries, so one undo never jumps over the turning point.
struct adjust {
    using value_type = int;
    using param_type = int;
    static QString text(int delta, int) { return delta < 0 ? "Decrease Size" : "Increase Size"; }
    static constexpr int command = command_id::adjust_size;
    static int target(int old, int delta) { return std::max(old + delta, 1); }
    static bool merge(int& delta, int next)
    {
        if ((delta < 0) != (next < 0))
            return false;
        delta += next;
        return true;
    }
};

struct adjust_width : adjust {
    static int read(const buttonRecord& r) { return r.width; }
    static void write(picker_page& p, int row, int v) { p.resize(row, v, p.at(row).height); }
};

struct adjust_height : adjust {
    static int read(const buttonRecord& r) { return r.height; }
    static void write(picker_page& p, int row, int v) { p.resize(row, p.at(row).width, v); }
};

// Both sides at once, as the Increase and Decrease Size keys change them: a
// run of presses the same way is one step, as a run of nudges is.
struct adjust_size {
    using value_type = QSize;
    using param_type = int;
    static QString text(int delta, int n) { return adjust::text(delta, n); }
    static constexpr int command = command_id::adjust_size;
    static QSize read(const buttonRecord& r) { return QSize(r.width, r.height); }
    static void write(picker_page& p, int row, const QSize& v) { p.resize(row, v.width(), v.height()); }
    static QSize target(const QSize& old, int delta)
    {
        return QSize(adjust::target(old.width(), delta), adjust::target(old.height(), delta));
    }
    static bool merge(int& delta, int next) { return adjust::merge(delta, next); }
};

// Each picture chosen is a step of its own, as a script's is.
struct picture : set_to<png_picture> {
    static QString text(const png_picture&, int) { return picture_step_text; }
    static constexpr int command = command_id::change_picture;
    static png_picture read(const buttonRecord& r) { return r.picture; }
    static void write(picker_page& p, int row, const png_picture& v) { p.set_picture(row, v); }
    static bool merge(png_picture&, const png_picture&) { return false; }
};

// A shape chosen from the menu. A button made a polygon keeps the outline
// it had as one, or else takes a hexagon stretched over its box.
struct shape {
    struct value_type {
        qint32 shape = 0;
        QVector<QPoint> points;
    };
    using param_type = qint32;
    static QString text(qint32, int) { return "Button Shape"; }
    static constexpr int command = command_id::change_shape;
    static value_type read(const buttonRecord& r) { return {r.shape, r.points}; }
    static value_type target(const value_type& old, qint32 shape)
    {
        if (shape != qint32(button_shape::polygon))
            return {shape, {}};
        if (old.shape == shape)
            return old;
        return {shape, {{-4, 0}, {-2, -4}, {2, -4}, {4, 0}, {2, 4}, {-2, 4}}};
    }
    static void write(picker_page& p, int row, const value_type& v)
    {
        buttonAttributes a = p.at(row);
        a.shape = v.shape;
        a.points = v.points;
        p.set_attributes(row, a);
    }
    static bool merge(qint32&, qint32) { return false; }
};

// Moved from the captured positions, not the current ones, so a merged run
// lands where the sum of its steps says. Named as a drag is: the same edit.
struct nudge {
    using value_type = QPoint;
    using param_type = QPoint;
    static QString text(const QPoint&, int n) { return move_text(n); }
    static constexpr int command = command_id::nudge;
    static QPoint read(const buttonRecord& r) { return r.pos; }
    static void write(picker_page& p, int row, const QPoint& v) { p.move(row, v); }
    static QPoint target(const QPoint& old, const QPoint& delta) { return old + delta; }
    static bool merge(QPoint& delta, const QPoint& next)
    {
        delta += next;
        return true;
    }
};

} // namespace fields

using change_color_cmd = field_change_cmd<fields::color>;
using change_labelc_cmd = field_change_cmd<fields::label_color>;
using change_width_cmd = field_change_cmd<fields::width>;
using change_height_cmd = field_change_cmd<fields::height>;
using adjust_width_cmd = field_change_cmd<fields::adjust_width>;
using adjust_height_cmd = field_change_cmd<fields::adjust_height>;
using adjust_size_cmd = field_change_cmd<fields::adjust_size>;
using change_label_cmd = field_change_cmd<fields::label>;
using nudge_buttons_cmd = field_change_cmd<fields::nudge>;
using change_picture_cmd = field_change_cmd<fields::picture>;
using change_shape_cmd = field_change_cmd<fields::shape>;
