// How a view answers the mouse, the wheel and the keyboard: gestures, the
// context menu and its actions, hover tooltips and cursors.
#include "view/picker_view.h"

#include "model/button_outline.h"

#include "edit/arrange_command.h"
#include "edit/button_commands.h"
#include "edit/mirror_command.h"
#include "edit/property_commands.h"
#include "model/picker_host.h"
#include "model/scene_room.h"
#include "view/gestures.h"
#include "window/attribute_dialog.h"
#include "window/command_dialog.h"
#include "window/picker_window.h"

#include <QAction>
#include <QApplication>
#include <QBitmap>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPointer>
#include <QTimer>
#include <QWheelEvent>

namespace {

// 32 by 32 cursor pictures: 'X' black, '.' white, anything else transparent.
const char* const edit_cursor_art[] = {
    "                                ",
    " X                              ",
    " XX                             ",
    " X.X                            ",
    " X..X                           ",
    " X...X                          ",
    " X....X                         ",
    " X.....X                        ",
    " X......X                       ",
    " X.......X                      ",
    " X........X                     ",
    " X.....XXXXX                    ",
    " X..X..X                        ",
    " X.X X..X         X             ",
    " XX  X..X        X.X            ",
    " X    X..X      X...X           ",
    "      X..X     XXX.XXX          ",
    "       XX     X X...X X         ",
    "             X.XX...XX.X        ",
    "            X...........X       ",
    "             X.XX...XX.X        ",
    "              X X...X X         ",
    "               XXX.XXX          ",
    "                X...X           ",
    "                 X.X            ",
    "                  X             ",
};

const char* const add_many_cursor_art[] = {
    "                                ",
    " X                              ",
    " XX                             ",
    " X.X                            ",
    " X..X                           ",
    " X...X                          ",
    " X....X                         ",
    " X.....X                        ",
    " X......X                       ",
    " X.......X                      ",
    " X........X                     ",
    " X.....XXXXX                    ",
    " X..X..X                        ",
    " X.X X..X                       ",
    " XX  X..X                       ",
    " X    X..X    XXXX XXXX XXXX    ",
    "      X..X    X..X X..X X..X    ",
    "       XX     X..X X..X X..X    ",
    "              XXXX XXXX XXXX    ",
    "                                ",
    "                   XXX          ",
    "                   X.X          ",
    "                 XXX.XXX        ",
    "                 X.....X        ",
    "                 XXX.XXX        ",
    "                   X.X          ",
    "                   XXX          ",
};

template <std::size_t rows>
QCursor* build_cursor(const char* const (&art)[rows])
{
    // Least significant bit first, 4 bytes a row.
    uchar bits[32 * 4] = {};
    uchar mask[32 * 4] = {};
    for (std::size_t y = 0; y < rows && y < 32; ++y) {
        for (int x = 0; x < 32 && art[y][x]; ++x) {
            const char c = art[y][x];
            const int byte = int(y) * 4 + x / 8;
            const uchar bit = uchar(1u << (x % 8));
            if (c == 'X' || c == '.')
                mask[byte] |= bit;
            if (c == 'X')
                bits[byte] |= bit;
        }
    }
    QBitmap bitmap = QBitmap::fromData(QSize(32, 32), bits, QImage::Format_MonoLSB);
    QBitmap maskmap = QBitmap::fromData(QSize(32, 32), mask, QImage::Format_MonoLSB);
    return new QCursor(bitmap, maskmap, 1, 1);
}

} // namespace

QCursor* buildEditCursor()
{
    return build_cursor(edit_cursor_art);
}

QCursor* buildAddManyCursor()
{
    return build_cursor(add_many_cursor_art);
}

// ----- Menu and actions

QAction* picker_view::make_action(const QString& text, const char* slot, QList<QKeySequence> keys)
{
    QAction* action = new QAction(text, this);
    if (!keys.isEmpty()) {
        action->setShortcuts(keys);
        action->setShortcutContext(Qt::WidgetShortcut);
    }
    connect(action, SIGNAL(triggered(bool)), this, slot);
    addAction(action);
    return action;
}

void picker_view::make_menu()
{
    menu = new QMenu("Picker", this);
    addOneAction = make_action("Add One Button", SLOT(add_one_button()));
    addManyAction = make_action("Add Many Buttons", SLOT(add_many_buttons()));
    updateAction = make_action("Update Button", SLOT(update_button()));
    deleteAction = make_action("Delete Button", SLOT(delete_button()), {QKeySequence(Qt::Key_Backspace)});
    mirrorAction = make_action("Mirror", SLOT(mirror_buttons()));
    commandAction = make_action("Add Command Button...", SLOT(edit_command_later()));
    attributeAction = make_action("Add Attribute Button...", SLOT(edit_attribute_later()));
    pictureAction = make_action("Set Button Picture...", SLOT(choose_button_picture()));
    removePictureAction = make_action("Remove Button Picture", SLOT(remove_button_picture()));
    QAction* reset = make_action("Reset View", SLOT(reset_view()), {QKeySequence(Qt::Key_H)});
    QAction* frame = make_action("Frame View", SLOT(frame_view()), {QKeySequence(Qt::Key_F)});
    menu->addAction(addOneAction);
    menu->addAction(addManyAction);
    menu->addAction(updateAction);
    menu->addAction(deleteAction);
    menu->addAction(mirrorAction);
    menu->addSeparator();
    menu->addAction(commandAction);
    menu->addAction(attributeAction);
    menu->addSeparator();
    menu->addAction(pictureAction);
    menu->addAction(removePictureAction);
    menu->addSeparator();
    menu->addAction(reset);
    menu->addAction(frame);
    menu->addSeparator();

    QMenu* arrange = menu->addMenu("Buttons");
    QAction* a = make_action("Align Horizontally", SLOT(align_horizontal()));
    a->setIcon(QIcon(":/resources/align-horizontal.png"));
    arrange->addAction(a);
    a = make_action("Align Vertically", SLOT(align_vertical()));
    a->setIcon(QIcon(":/resources/align-vertical.png"));
    arrange->addAction(a);
    a = make_action("Distribute Horizontally", SLOT(distribute_horizontal()));
    a->setIcon(QIcon(":/resources/distribute-horizontal.png"));
    arrange->addAction(a);
    a = make_action("Distribute Vertically", SLOT(distribute_vertical()));
    a->setIcon(QIcon(":/resources/distribute-vertical.png"));
    arrange->addAction(a);
    arrange->addSeparator();
    QMenu* shapes = arrange->addMenu("Shape");
    for (qint32 shape = 0; shape < button_shape_count; ++shape) {
        static const char* const words[button_shape_count] = {"Rectangle", "Rounded Rectangle", "Ellipse", "Polygon"};
        QAction* choice = shapes->addAction(words[shape]);
        connect(choice, &QAction::triggered, this, [this, shape] { set_shape(shape); });
        shapeActions << choice;
    }
    arrange->addSeparator();
    arrange->addAction(make_action("Increase Size", SLOT(adjust_size_up()),
                                   {QKeySequence("+"), QKeySequence("="), QKeySequence("Shift++")}));
    arrange->addAction(make_action("Decrease Size", SLOT(adjust_size_down()), {QKeySequence("-")}));

    make_action("Nudge Left", SLOT(nudge_left()), {QKeySequence(Qt::Key_Left)});
    make_action("Nudge Right", SLOT(nudge_right()), {QKeySequence(Qt::Key_Right)});
    make_action("Nudge Up", SLOT(nudge_up()), {QKeySequence(Qt::Key_Up)});
    make_action("Nudge Down", SLOT(nudge_down()), {QKeySequence(Qt::Key_Down)});

    editCursor = buildEditCursor();
    addManyCursor = buildAddManyCursor();
}

void picker_view::select_alone(int index)
{
    const button_id id = buttons().at(index).id;
    if (window) {
        window->select_buttons(this, {id});
        return;
    }
    clear_selected();
    // A script is no object name: a command button lights in the picker only.
    page_->select(index, buttons().at(index).kind != 0);
    page_->set_picks({id});
    update();
}

void picker_view::show_context_menu(QMouseEvent* e)
{
    // What the host had selected before this click: Update binds the button
    // to it, even once the click has made the button the selection.
    menuSelection = picker_window::selection();
    menuSelectionKept = true;
    const int index = find_button_index(e->pos());
    const buttonRecord* hit = index < 0 ? nullptr : &buttons().at(index);
    commandAction->setText("Add Command Button...");
    attributeAction->setText("Add Attribute Button...");
    if (!hit) {
        updateAction->setEnabled(false);
        deleteAction->setEnabled(page_->any_target());
    } else {
        // Unless it is a target already, the clicked button becomes the
        // selection first, so that Delete, Cut and Update act on it and not
        // on what was selected before.
        if (!page_->is_target(index))
            select_alone(index);
        updateAction->setEnabled(hit->kind == 0 && !menuSelection.isEmpty());
        if (hit->kind == command_kind)
            commandAction->setText("Edit Command Button...");
        if (hit->kind == attribute_kind)
            attributeAction->setText("Edit Attribute Button...");
        deleteAction->setEnabled(true);
    }
    addOneAction->setEnabled(!menuSelection.isEmpty());
    addManyAction->setEnabled(true);
    bool pictured = false;
    const QVector<int> targets = page_->target_rows();
    for (int row : targets)
        pictured = pictured || !buttons().at(row).picture.isNull();
    pictureAction->setEnabled(page_->any_target());
    for (QAction* choice : std::as_const(shapeActions))
        choice->setEnabled(page_->any_target());
    removePictureAction->setEnabled(pictured);
    mirrorAction->setEnabled(page_->any_target());
    menu->exec(mapToGlobal(e->pos()), addOneAction);
    deleteAction->setEnabled(true);
    e->accept();
    setFocus(Qt::MouseFocusReason);
    adjustCursor(false);
}

// ----- Hit tests

const buttonRecord* picker_view::find_button(const QPoint& widgetPos) const
{
    const int i = find_button_index(widgetPos);
    return i < 0 ? nullptr : &buttons().at(i);
}

int picker_view::find_button_index(const QPoint& widgetPos) const
{
    const QList<buttonRecord>& list = buttons();
    for (int i = 0; i < list.size(); ++i) {
        // The pixels the button is drawn on, as a command button's press tracks them.
        if (outline_holds(mapToScreen(list[i].bounds), list[i], widgetPos))
            return i;
    }
    return -1;
}

int picker_view::find_button_index_from_label(const QString& label) const
{
    const QList<buttonRecord>& list = buttons();
    for (int i = 0; i < list.size(); ++i)
        if (list[i].label == label)
            return i;
    return -1;
}

int picker_view::find_button_index_from_object(const QString& name) const
{
    const QList<buttonRecord>& list = buttons();
    for (int i = 0; i < list.size(); ++i)
        if (list[i].names.contains(name))
            return i;
    return -1;
}

bool picker_view::select_bounds(const QRect& widgetRect, bool additive, QVector<button_id>* met)
{
    picker_window::selection_batch batch;
    return page_->select_where(additive, [&](const buttonRecord& r) {
        const bool meets = outline_meets(mapToScreen(r.bounds), r, widgetRect);
        if (meets && met)
            met->append(r.id);
        return meets;
    });
}

// ----- Actions

void picker_view::do_button_action(const buttonAttributes& a)
{
    run_command(a);
}

void picker_view::press_button(int index)
{
    if (index < 0 || index >= page_->count())
        return;
    const buttonRecord& r = buttons().at(index);
    if (r.kind == 1) {
        do_button_action(r);
    } else if (window) {
        window->select_buttons(this, {r.id});
    } else {
        clear_selected();
        page_->select(index, false);
        page_->set_picks({r.id});
        conform_to_selection();
        refresh();
    }
    update_toolbox();
}

void picker_view::run_command(const buttonAttributes& a)
{
    run_button_script(a);
}

void picker_view::nudge_buttons(int dx, int dy)
{
    if (page_->any_target())
        undo.push(new nudge_buttons_cmd(page_, QPoint(dx, dy)));
}

void picker_view::nudge_left()
{
    nudge_buttons(-1, 0);
}

void picker_view::nudge_right()
{
    nudge_buttons(1, 0);
}

void picker_view::nudge_up()
{
    nudge_buttons(0, -1);
}

void picker_view::nudge_down()
{
    nudge_buttons(0, 1);
}

// One step for both sides, so that a run of presses merges as nudges do.
void picker_view::adjust_size_up()
{
    if (page_->any_target())
        undo.push(new adjust_size_cmd(page_, 1));
}

void picker_view::adjust_size_down()
{
    if (page_->any_target())
        undo.push(new adjust_size_cmd(page_, -1));
}

void picker_view::align_horizontal()
{
    undo.push(new arrange_buttons_cmd(page_, arrange_buttons_cmd::align_horizontal));
}

void picker_view::align_vertical()
{
    undo.push(new arrange_buttons_cmd(page_, arrange_buttons_cmd::align_vertical));
}

void picker_view::distribute_horizontal()
{
    undo.push(new arrange_buttons_cmd(page_, arrange_buttons_cmd::distribute_horizontal));
}

void picker_view::distribute_vertical()
{
    undo.push(new arrange_buttons_cmd(page_, arrange_buttons_cmd::distribute_vertical));
}

void picker_view::add_one_button()
{
    buttonAttributes a = new_button_at(pressPoint);
    QString why = too_many_names(a.names.size());
    if (why.isEmpty())
        why = no_room_for(1, a.names.size());
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("Add One Button refused: %1.").arg(why));
        return;
    }
    undo.push(new add_button_cmd(page_, a, "Add One Button"));
}

void picker_view::add_many_buttons()
{
    if (mouseCmd) {
        picker_mouse_cmd* held = mouseCmd;
        mouseCmd = nullptr;
        held->finish();
        delete held;
    }
    mouseCmd = new add_manybuttons_cmd(this);
    adjustCursor(true);
}

void picker_view::update_button()
{
    if (!page_->any_target() || page_->row_of(hitButton) < 0)
        return;
    const QStringList names = menuSelectionKept ? menuSelection : picker_window::selection();
    // A button bound to nothing would be dropped on the next load.
    if (names.isEmpty())
        return;
    if (names != picker_window::selection()) {
        // The right-click selected the button; the host gets back what it
        // had, which the button now stands for.
        picker_window::set_selection_names(names);
        if (window)
            window->postSelection();
    }
    undo.push(new update_buttons_cmd(page_, hitButton, names));
}

void picker_view::delete_button()
{
    if (page_->any_target())
        undo.push(new delete_buttons_cmd(page_));
}

void picker_view::mirror_buttons()
{
    QStringList unmapped;
    const QList<buttonAttributes> copies =
        mirror::mirrored_copies(page_, page_->target_rows(), mirror::default_twice_axis(page_),
                                page_->mirror_patterns(), nullptr, &unmapped);
    if (!unmapped.isEmpty()) {
        picker_host::instance().warn(
            QString("Mirror refused: %1.").arg(mirror::unmapped_reason(unmapped, page_->mirror_patterns())));
        return;
    }
    if (copies.isEmpty())
        return;
    const QString why = no_room_for(copies.size(), names_in(copies));
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("Mirror refused: %1.").arg(why));
        return;
    }
    undo.push(new mirror_buttons_cmd(page_, copies));
    // The copies are kept either way: the TD may be about to build that side.
    QStringList missing;
    const QStringList report = mirror::missing_report(copies, &missing);
    if (!report.isEmpty())
        picker_host::instance().warn(mirror::missing_warning("Mirror", report));
    // The copies become the selection in the scene too, so what lights is
    // what is selected; the warning has named what the scene lacks.
    if (window)
        window->select_buttons(this, page_->target_ids(), missing);
}

void picker_view::edit_command_later()
{
    // The editor opens once the context menu has fully closed: a script it
    // tests may delete this view, and the menu with it.
    QTimer::singleShot(0, this, SLOT(add_command_button()));
}

void picker_view::add_command_button()
{
    // The dialog runs an event loop: scripts tested from it may change the
    // buttons or delete this view, so nothing found before it is trusted after.
    QPointer<picker_view> self(this);
    if (edit_pressed_button(command_kind, "Edit Command Button",
                            [this](buttonAttributes* a) { return picker_editCmdDialog::do_dialog(this, a); }))
        return;
    const QString why = no_room_for(1, 1);
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("Add Command Button refused: %1.").arg(why));
        return;
    }
    button_look look = window ? window->toolbox() : button_look();
    look.label.clear();
    auto* command = new add_button_cmd(page_, new_button(mapToPicker(pressPoint), look, 1, 0, {QString()}),
                                       "Add Command Button");
    if (picker_editCmdDialog::do_dialog(this, &command->attributes()) && self)
        undo.push(command);
    else
        delete command;
}

bool picker_view::edit_pressed_button(qint32 kind, const char* step,
                                      const std::function<bool(buttonAttributes*)>& dialog)
{
    QPointer<picker_view> self(this);
    const int index = find_button_index(pressPoint);
    if (index < 0 || buttons().at(index).kind != kind)
        return false;
    const button_id id = buttons().at(index).id;
    const buttonAttributes before = buttons().at(index);
    buttonAttributes copy = before;
    if (!dialog(&copy) || !self)
        return true;
    // Not over a change a tested script made meanwhile; an edit that
    // changes nothing leaves no step.
    const int row = page_->row_of(id);
    if (row >= 0 && static_cast<const buttonAttributes&>(buttons().at(row)) == before && copy != before)
        undo.push(new edit_button_cmd(page_, id, copy, step));
    return true;
}

void picker_view::edit_attribute_later()
{
    QTimer::singleShot(0, this, SLOT(add_attribute_button()));
}

void picker_view::add_attribute_button()
{
    // As for command buttons: the dialog's event loop may see the buttons
    // change under it.
    QPointer<picker_view> self(this);
    if (edit_pressed_button(attribute_kind, "Edit Attribute Button",
                            [this](buttonAttributes* a) { return attribute_dialog::do_dialog(this, a); }))
        return;
    const QString why = no_room_for(1, 2);
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("Add Attribute Button refused: %1.").arg(why));
        return;
    }
    buttonAttributes a = new_button(mapToPicker(pressPoint), attribute_look(0), attribute_kind);
    if (!attribute_dialog::do_dialog(this, &a) || !self)
        return;
    undo.push(new add_button_cmd(page_, a, "Add Attribute Button"));
}

// ----- Events

void picker_view::mousePressEvent(QMouseEvent* e)
{
    pressPoint = e->pos();
    hitButton = 0;
    menuSelectionKept = false;
    // Any press in the canvas, Alt-drags and "Add Many" included, sends the
    // keys here.
    setFocus(Qt::MouseFocusReason);
    adjustCursor(false);
    const int modifiers = int(e->modifiers());

    if (mouseCmd) {
        auto* many = dynamic_cast<add_manybuttons_cmd*>(mouseCmd);
        if (many && e->button() == Qt::RightButton) {
            cancel_add_many();
            e->accept();
            return;
        }
        if (many) {
            many->setActive(true);
            many->update(e->pos(), modifiers);
            e->accept();
            return;
        }
        picker_mouse_cmd* held = mouseCmd;
        mouseCmd = nullptr;
        held->finish();
        delete held;
    }

    const Qt::MouseButtons held = e->buttons();
    const bool ctrlOnly = e->modifiers() == Qt::ControlModifier;
    if (!(e->modifiers() & Qt::AltModifier)) {
        if (held == Qt::LeftButton) {
            if (overlays.banner()->click(e->pos())) {
                e->accept();
                return;
            }
            int index = find_button_index(e->pos());
            hitButton = index < 0 ? 0 : buttons().at(index).id;
            if (index < 0 || ctrlOnly || buttons().at(index).kind == selection_kind)
                mouseCmd = new select_button_cmd(this, e->pos(), modifiers);
            else if (buttons().at(index).kind == attribute_kind)
                mouseCmd = new attribute_drag_cmd(this, e->pos(), index, modifiers);
            else
                mouseCmd = new track_button_cmd(this, e->pos(), index);
            e->accept();
        } else if (held == Qt::RightButton) {
            const buttonRecord* hit = find_button(e->pos());
            hitButton = hit ? hit->id : 0;
            show_context_menu(e);
        } else if (held == Qt::MiddleButton) {
            mouseCmd = new shift_picker_cmd(this, e->pos());
            e->accept();
        } else {
            e->ignore();
        }
        return;
    }
    if (held == Qt::RightButton || held == (Qt::LeftButton | Qt::MiddleButton)) {
        mouseCmd = new zoom_picker_cmd(this, e->pos());
        e->accept();
    } else if (held == Qt::MiddleButton) {
        mouseCmd = new shift_picker_cmd(this, e->pos());
        e->accept();
    } else {
        e->ignore();
    }
}

void picker_view::mouseDoubleClickEvent(QMouseEvent* e)
{
    // A double-click puts a slider or pad back to its attributes' defaults;
    // a switch just steps again.
    const int index = e->button() == Qt::LeftButton && !(e->modifiers() & (Qt::ControlModifier | Qt::AltModifier))
        ? find_button_index(e->pos())
        : -1;
    if (index >= 0 && buttons().at(index).kind == attribute_kind
        && buttons().at(index).widget != qint32(attribute_widget::checkbox)) {
        delete std::exchange(mouseCmd, nullptr);
        attribute_drag_cmd::reset(page_, index);
        e->accept();
        return;
    }
    mousePressEvent(e);
}

void picker_view::mouseMoveEvent(QMouseEvent* e)
{
    if (mouseCmd) {
        mouseCmd->update(e->pos(), int(e->modifiers()));
        e->accept();
        return;
    }
    e->ignore();
    if (e->pos() == hoverPoint)
        return;
    hoverPoint = e->pos();
    const buttonRecord* hit = find_button(e->pos());
    if (!hit || !names_scene_objects(hit->kind)) {
        if (!tooltipText.isEmpty()) {
            tooltipText.clear();
            setToolTip(QString());
        }
        return;
    }
    const QStringList& names = hit->names;
    QString text;
    if (names.size() < 5) {
        text = names.join('\n');
    } else {
        for (int i = 0; i < 3; ++i)
            text += names[i] + '\n';
        text += QString("...and %1 more").arg(names.size() - 3);
    }
    tooltipText = text;
    if (toolTip() != text)
        setToolTip(text);
}

void picker_view::mouseReleaseEvent(QMouseEvent* e)
{
    if (!mouseCmd) {
        e->ignore();
        return;
    }
    picker_mouse_cmd* command = mouseCmd;
    mouseCmd = nullptr;
    command->update(e->pos(), int(e->modifiers()));
    command->finish();
    delete command;
    e->accept();
}

void picker_view::wheelEvent(QWheelEvent* e)
{
    e->accept();
    // Not under a running gesture: a drag or a pressed button would jump.
    // Some platforms report no buttons on wheel events, so the held gesture
    // is asked too; an "Add Many" still waiting for its press is no drag.
    auto* many = dynamic_cast<add_manybuttons_cmd*>(mouseCmd);
    if (e->buttons() != Qt::NoButton || QGuiApplication::mouseButtons() != Qt::NoButton
        || (mouseCmd && !(many && !many->isActive())))
        return;
    const QPoint delta = e->angleDelta();
    if (delta.x() != 0) {
        // Sideways scrolling pans, 40 pixels a notch.
        const int dx = e->pixelDelta().x() != 0 ? e->pixelDelta().x() : delta.x() / 3;
        setShift(shift + QPoint(dx, 0));
    }
    if (delta.y() != 0) {
        // Whole notches zoom; fine-grained wheels add up to them.
        if ((wheelRest < 0) != (delta.y() < 0))
            wheelRest = 0;
        wheelRest += delta.y();
        const int steps = wheelRest / 120;
        wheelRest -= steps * 120;
        if (steps != 0)
            zoom_steps(steps, e->position().toPoint());
    }
}

void picker_view::keyPressEvent(QKeyEvent* e)
{
    adjustCursor(false);
    if (e->key() == Qt::Key_Escape && cancel_add_many()) {
        e->accept();
        return;
    }
    QWidget::keyPressEvent(e);
}

bool picker_view::cancel_add_many()
{
    auto* many = dynamic_cast<add_manybuttons_cmd*>(mouseCmd);
    if (!many)
        return false;
    mouseCmd = nullptr;
    many->cancel();
    delete many;
    return true;
}

void picker_view::keyReleaseEvent(QKeyEvent* e)
{
    adjustCursor(false);
    QWidget::keyReleaseEvent(e);
}

void picker_view::adjustCursor(bool force)
{
    const Qt::KeyboardModifiers mods = QApplication::keyboardModifiers();
    const int mode = ((mods & Qt::ControlModifier) ? 1 : 0) | ((mods & Qt::ShiftModifier) ? 2 : 0);
    if (mode == modeWord && !force)
        return;
    modeWord = mode;
    if (mods & Qt::ControlModifier)
        setCursor(*editCursor);
    else if (dynamic_cast<add_manybuttons_cmd*>(mouseCmd))
        setCursor(*addManyCursor);
    else
        setCursor(Qt::ArrowCursor);
}
