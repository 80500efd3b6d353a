// The press-drag-release gestures of a view: selecting (and Control-dragging)
// buttons, pressing a command button, panning, zooming and laying out many
// buttons at once.
#pragma once

#include "model/button_model.h"
#include "view/picker_mouse_cmd.h"

#include <QPoint>
#include <QRect>
#include <QVector>

class picker_view;

class select_button_cmd : public picker_mouse_cmd {
public:
    select_button_cmd(picker_view* view, const QPoint& pos, int modifiers);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;

private:
    QPoint drag_delta() const;

    picker_view* view;
    QPoint anchor;
    QPoint current;
    QStringList baseSelection;
    QVector<int> movedIndices;
    QVector<QPoint> movedStarts;
    bool additive = false;
    bool ctrl = false;
    bool marquee = false;
    bool moving = false;
};

class track_button_cmd : public picker_mouse_cmd {
public:
    track_button_cmd(picker_view* view, const QPoint& pos, int index);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;

private:
    buttonRecord* button() const;

    picker_view* view;
    int index; // the button is looked up again each time: the list may change under a gesture
    QRect rect;
};

class shift_picker_cmd : public picker_mouse_cmd {
public:
    shift_picker_cmd(picker_view* view, const QPoint& pos);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override {}

private:
    picker_view* view;
    QPoint press;
    QPoint last;
    QPoint startShift;
};

class zoom_picker_cmd : public picker_mouse_cmd {
public:
    zoom_picker_cmd(picker_view* view, const QPoint& pos);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override {}

private:
    picker_view* view;
    QPoint press;
    QPoint last;
    float startZoom;
};

// Made by the view's "Add Many Buttons"; waits for the next press, then lays
// one button per selected object in a row that follows the drag. Not undoable.
class add_manybuttons_cmd : public picker_mouse_cmd {
public:
    explicit add_manybuttons_cmd(picker_view* view);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;
    void setActive(bool on) { active = on; }
    bool isActive() const { return active; }

private:
    picker_view* view;
    QVector<int> indices;
    QPoint origin;
    bool placed = false;
    bool active = false;
};

// Multiplies a zoom by 1.0625 per step beyond the first, or by 0.9375 per
// step beyond the first the other way; used by the wheel and the zoom drag.
float step_zoom(float zoom, int steps);
