#include "window/picker_window.h"

#include "edit/button_commands.h"
#include "edit/clipboard.h"
#include "edit/property_commands.h"
#include "model/picker_host.h"
#include "model/picker_stream.h"
#include "model/scene_room.h"
#include "view/picker_view.h"
#include "view/shortcuts.h"
#include "window/color_menu.h"
#include "window/fitting_label.h"
#include "window/window_texts.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QHBoxLayout>
#include <QIcon>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QUndoStack>
#include <QVBoxLayout>

#include <optional>


namespace {
const QStringList size_items = {"5",  "6",  "7",  "8",  "9",  "10", "11", "12", "13", "14", "15",
                                "16", "17", "18", "19", "20", "30", "40", "50", "75", "100"};
} // namespace

QIcon make_icon(unsigned int rgb)
{
    QPixmap swatch(12, 12);
    swatch.fill(QColor(QRgb(rgb)));
    return QIcon(swatch);
}

void clear_layout(QLayout* layout)
{
    if (!layout)
        return;
    while (QLayoutItem* item = layout->takeAt(0)) {
        if (QLayout* nested = item->layout())
            clear_layout(nested);
        if (QWidget* widget = item->widget())
            delete widget;
        delete item;
    }
}

picker_window::picker_window(QWidget* parent) : QWidget(parent), book_(new picker_book(this))
{
    // Nothing made while building is a change the scene has to hear of.
    std::optional<picker_book::quiet> building;
    building.emplace(book_);
    init_picker_resources();
    buttonRecord::set_selection_list(&selection_list());
    setWindowTitle(texts::command_name);
    setObjectName(texts::command_name);
    setWindowIcon(QIcon(":/resources/QuillmarshLogo.png"));
    setAttribute(Qt::WA_DeleteOnClose);

    menuBar = new QMenuBar;
    tabWidget = new QTabWidget;
    tabWidget->setMovable(true);
    tabWidget->setTabsClosable(true);
    tabWidget->setElideMode(Qt::ElideRight);
    connect(book_, &picker_book::added, this, &picker_window::page_added);
    connect(book_, &picker_book::removing, this, &picker_window::page_removing);
    connect(book_, &picker_book::current_changed, this, [this](int index) {
        if (index >= 0 && tabWidget->currentIndex() != index)
            tabWidget->setCurrentIndex(index);
    });
    make_menus();

    new_tab();
    make_toolbox();
    keep_keys_on_canvas();

    mainLayout = new QVBoxLayout;
    mainLayout->setSpacing(0);
    mainLayout->setContentsMargins(0, 0, 0, 0);
    mainLayout->setSizeConstraint(QLayout::SetNoConstraint);
    mainLayout->setMenuBar(menuBar);
    mainLayout->addWidget(tabWidget);
    mainLayout->addSpacing(4);
    mainLayout->addLayout(toolboxLayout);
    mainLayout->addSpacing(4);
    setLayout(mainLayout);

    connect(fileMenu, SIGNAL(aboutToShow()), this, SLOT(updateFileMenu()));
    connect(editMenu, SIGNAL(aboutToShow()), this, SLOT(updateEditMenu()));
    connect(pickerMenu, SIGNAL(aboutToShow()), this, SLOT(updatePickerMenu()));
    connect(tabWidget, SIGNAL(tabCloseRequested(int)), this, SLOT(close_one(int)));
    // Shortcuts act on the state as it is, whether or not a menu was opened.
    connect(tabWidget, SIGNAL(currentChanged(int)), this, SLOT(update_actions()));
    connect(tabWidget, SIGNAL(currentChanged(int)), this, SLOT(settle_focus()));
    connect(QApplication::clipboard(), SIGNAL(dataChanged()), this, SLOT(update_paste_actions()));
    // Which tab is current, and the tab order, are part of what the scene keeps.
    connect(tabWidget, &QTabWidget::currentChanged, book_, &picker_book::set_current);
    connect(tabWidget->tabBar(), &QTabBar::tabMoved, book_, &picker_book::move);
    // Each tab has targets of its own.
    connect(tabWidget, SIGNAL(currentChanged(int)), this, SLOT(updateControls()));
    // Only the tab shown is checked for missing objects: one shown anew may be behind.
    connect(tabWidget, &QTabWidget::currentChanged, this, [this] { check_objects_later(); });

    parse_picker_config(recent_pickers_path());
    building.reset();
    adoptScene(encodedSceneData());
    update_actions();
    settle_focus();
}

picker_window::~picker_window()
{
    // Pages go without touching the scene's image entries: the scene keeps them.
    closing = true;
    book_->set_closing();
    clear_tabs();
    write_recent();
}

QAction* picker_window::add_item(QMenu* menu, const QString& text, const char* slot, QObject* receiver)
{
    QAction* action = menu->addAction(text);
    if (slot)
        connect(action, SIGNAL(triggered(bool)), receiver ? receiver : this, slot);
    return action;
}

void picker_window::make_menus()
{
    fileMenu = menuBar->addMenu(tr("&File"));
    editMenu = menuBar->addMenu(tr("&Edit"));
    pickerMenu = menuBar->addMenu(tr("&Picker"));
    helpMenu = menuBar->addMenu(tr("&Help"));

    newAction = add_item(fileMenu, tr("New..."), SLOT(new_tab()));
    setWidgetShortcut(newAction, QKeySequence("Ctrl+N"));
    openAction = add_item(fileMenu, tr("Open..."), SLOT(open_tab()));
    setWidgetShortcut(openAction, QKeySequence("Ctrl+O"));
    fileMenu->addSeparator();
    saveAction = add_item(fileMenu, tr("Save"), SLOT(request_save()));
    setWidgetShortcut(saveAction, QKeySequence("Ctrl+S"));
    saveAsAction = add_item(fileMenu, tr("Save As..."), SLOT(request_saveas()));
    fileMenu->addSeparator();
    renameAction = add_item(fileMenu, tr("Rename Tab..."), SLOT(rename_tab()));
    closeAction = add_item(fileMenu, tr("Close Tab..."), SLOT(close_current()));
    setWidgetShortcut(closeAction, QKeySequence("Ctrl+W"));
    reopenAction = add_item(fileMenu, tr("Reopen Closed Tab"), SLOT(reopen_closed_tab()));
    setWidgetShortcut(reopenAction, QKeySequence("Ctrl+Shift+T"));
    fileMenu->addSeparator();
    exitAction = add_item(fileMenu, tr("Exit Picker"), nullptr);
    connect(exitAction, &QAction::triggered, this, &picker_window::exit_requested);
    setWidgetShortcut(exitAction, QKeySequence("Ctrl+Shift+W"));

    undoAction = add_item(editMenu, tr("Undo"), SLOT(do_undo()));
    setWidgetShortcut(undoAction, QKeySequence("Ctrl+Z"));
    redoAction = add_item(editMenu, tr("Redo"), SLOT(do_redo()));
    setWidgetShortcut(redoAction, QKeySequence("Shift+Ctrl+Z"));
    editMenu->addSeparator();
    cutAction = add_item(editMenu, tr("Cut"), SLOT(cut_buttons()));
    setWidgetShortcut(cutAction, QKeySequence("Ctrl+X"));
    copyAction = add_item(editMenu, tr("Copy"), SLOT(copy_buttons()));
    setWidgetShortcut(copyAction, QKeySequence("Ctrl+C"));
    pasteAction = add_item(editMenu, tr("Paste"), SLOT(paste_buttons()));
    setWidgetShortcut(pasteAction, QKeySequence("Ctrl+V"));
    pasteInPlaceAction = add_item(editMenu, tr("Paste in Place"), SLOT(paste_inplace_buttons()));
    setWidgetShortcut(pasteInPlaceAction, QKeySequence("Shift+Ctrl+V"));
    editMenu->addSeparator();
    toolboxAction = add_item(editMenu, "Hide Toolbox", SLOT(toggle_toolbox()));

    addOneAction = add_item(pickerMenu, "Add One Button", SLOT(add_one_button()));
    addManyAction = add_item(pickerMenu, "Add Many Buttons", SLOT(add_many_buttons()));
    updateAction = add_item(pickerMenu, "Update Button", SLOT(update_button()));
    pickerMenu->addSeparator();
    backgroundAction = add_item(pickerMenu, "Change Background...", SLOT(change_background()));
    namespaceAction = add_item(pickerMenu, "Change Namespace...", SLOT(change_namespace()));
    pickerMenu->addSeparator();
    followAction = add_item(pickerMenu, "Follow Selection", nullptr);
    followAction->setCheckable(true);
    following = follow_setting();
    followAction->setChecked(following);
    connect(followAction, &QAction::toggled, this, &picker_window::set_follow_selection);

    QAction* about = add_item(helpMenu, "About QuillmarshPicker...", SLOT(about_dialog()));

    // The window's own shortcut search walks this list; Paste in Place and
    // Change Namespace are left out of it on purpose.
    addActions({newAction, openAction, saveAction, saveAsAction, renameAction, closeAction, reopenAction, exitAction});
    addActions({undoAction, redoAction, cutAction, copyAction, pasteAction, toolboxAction});
    addActions({addOneAction, addManyAction, updateAction, backgroundAction});
    addAction(about);
}

void picker_window::setWidgetShortcut(QAction* action, const QKeySequence& key) const
{
    action->setShortcut(key);
    action->setShortcutContext(Qt::WidgetShortcut);
}

QSize picker_window::minimumSizeHint() const
{
    return QSize(100, 100);
}

// ----- Tabs

picker_view* picker_window::frontPicker() const
{
    if (!tabWidget || tabWidget->count() == 0)
        return nullptr;
    return qobject_cast<picker_view*>(tabWidget->currentWidget());
}

void picker_window::connect_picker(picker_view* view)
{
    connect(view->page(), &picker_page::modified_changed, this, [this, view] { show_tab_name(view); });
    connect(view->page(), &picker_page::changed, this, [this, view](const page_notice& notice) {
        if (notice.fields & (page_field::name | page_field::path))
            show_tab_name(view);
        else if (notice.fields & (page_field::binding | page_field::layout))
            show_tab_names_later();
    });
    show_tab_name(view);
    QUndoStack* stack = view->undoer();
    connect(stack, SIGNAL(canUndoChanged(bool)), this, SLOT(update_undo_actions()));
    connect(stack, SIGNAL(canRedoChanged(bool)), this, SLOT(update_undo_actions()));
    connect(stack, SIGNAL(undoTextChanged(QString)), this, SLOT(update_undo_actions()));
    connect(stack, SIGNAL(redoTextChanged(QString)), this, SLOT(update_undo_actions()));
}

bool picker_window::new_tab()
{
    const QString why = no_room(pages(), nullptr, 0, 1);
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("New tab refused: %1.").arg(why));
        return false;
    }
    book_->append("Untitled");
    book_->set_current(book_->count() - 1);
    return true;
}

void picker_window::updateSceneData()
{
    book_->touch();
}

picker_view* picker_window::view_of(const picker_page* page) const
{
    for (int i = 0; i < tabWidget->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(i)); view && view->page() == page)
            return view;
    return nullptr;
}

void picker_window::page_added(int index)
{
    picker_page* page = book_->page(index);
    auto* view = new picker_view(this, page);
    tabWidget->insertTab(index, view, page->name());
    connect_picker(view);
}

void picker_window::page_removing(int index)
{
    picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(index));
    if (!view)
        return;
    // Only tabs closed by the animator or a script are kept: a scene going
    // away or the window closing take theirs with them.
    if (!closing && !book_->is_quiet())
        keep_closed(view);
    tabWidget->removeTab(index);
    delete view;
}

void picker_window::reset()
{
    // The scene these tabs came from is going away: nothing of it is touched,
    // and the next scene starts with nothing pending and no selection.
    book_->reset();
    setSelection(QStringList());
}

void picker_window::close_tab(int index)
{
    book_->remove(index);
}

void picker_window::clear_tabs()
{
    for (int i = tabWidget->count() - 1; i >= 0; --i)
        close_tab(i);
}

void picker_window::rename_tab()
{
    int index = tabWidget->currentIndex();
    if (tabWidget->count() == 0 || index < 0)
        return;
    bool ok = false;
    QString name = QInputDialog::getText(this, "Tab Name", "Name", QLineEdit::Normal, tab_name(index), &ok);
    if (ok)
        set_tab_text(index, name);
}

// ----- Forwarding

void picker_window::add_one_button()
{
    picker_view* view = frontPicker();
    if (!view || selection().isEmpty())
        return;
    view->add_one_button();
    view->frame_view();
}

void picker_window::add_many_buttons()
{
    picker_view* view = frontPicker();
    if (!view || selection().isEmpty())
        return;
    view->add_many_buttons();
    view->frame_view();
}

void picker_window::update_button()
{
    picker_view* view = frontPicker();
    if (view && !selection().isEmpty())
        view->update_button();
}

void picker_window::cut_buttons()
{
    picker_view* view = frontPicker();
    if (!view || !view->page()->any_target())
        return;
    auto* command = new cut_buttons_cmd(view->page());
    copyButtonsToClipboard(command->buttons());
    view->undoer()->push(command);
}

void picker_window::copy_buttons()
{
    picker_view* view = frontPicker();
    if (view && view->page()->any_target())
        copyButtonsToClipboard(view->getButtons());
}

void picker_window::paste_buttons()
{
    handle_paste(frontPicker(), false);
}

void picker_window::paste_inplace_buttons()
{
    handle_paste(frontPicker(), true);
}

void picker_window::change_background()
{
    if (picker_view* view = frontPicker())
        view->change_background();
}

void picker_window::change_namespace()
{
    request_rebind(true);
}

void picker_window::request_rebind(bool rebind)
{
    picker_host::instance().run_mel_on_idle(QString(texts::command_name) + ' ' +
                                            (rebind ? texts::rebind_tail : texts::bind_tail));
}

void picker_window::do_undo()
{
    if (picker_view* view = frontPicker())
        view->undoer()->undo();
}

void picker_window::do_redo()
{
    if (picker_view* view = frontPicker())
        view->undoer()->redo();
}

// ----- Menus

void picker_window::updateFileMenu()
{
    bool any = tabWidget->count() > 0;
    saveAction->setEnabled(any);
    saveAsAction->setEnabled(any);
    renameAction->setEnabled(any);
    closeAction->setEnabled(any);
    reopenAction->setEnabled(!closed.isEmpty());
    QString last = closed.isEmpty() ? QString() : closed.first().name;
    if (last.size() > 40)
        last = last.left(39) + QChar(0x2026);
    reopenAction->setText(last.isEmpty() ? tr("Reopen Closed Tab")
                                         : tr("Reopen Closed Tab \"%1\"").arg(last.replace('&', "&&")));
}

void picker_window::updatePickerMenu()
{
    bool any = tabWidget->count() > 0;
    addOneAction->setEnabled(any);
    addManyAction->setEnabled(any);
    updateAction->setEnabled(any);
    backgroundAction->setEnabled(any);
}

void picker_window::updateEditMenu()
{
    update_undo_actions();
    update_selection_actions();
    update_paste_actions();
}

void picker_window::update_actions()
{
    updateFileMenu();
    updatePickerMenu();
    updateEditMenu();
}

void picker_window::update_undo_actions()
{
    picker_view* view = qobject_cast<picker_view*>(tabWidget->currentWidget());
    QUndoStack* stack = view ? view->undoer() : nullptr;
    const bool undo = stack && stack->canUndo();
    const bool redo = stack && stack->canRedo();
    undoAction->setEnabled(undo);
    undoAction->setText(undo ? QString("Undo %1").arg(stack->undoText()) : QString("Can't Undo"));
    redoAction->setEnabled(redo);
    redoAction->setText(redo ? QString("Redo %1").arg(stack->redoText()) : QString("Can't Redo"));
}

void picker_window::update_selection_actions()
{
    picker_view* view = qobject_cast<picker_view*>(tabWidget->currentWidget());
    const bool selected = view && view->page()->any_target();
    cutAction->setEnabled(selected);
    copyAction->setEnabled(selected);
}

void picker_window::update_paste_actions()
{
    if (!qobject_cast<picker_view*>(tabWidget->currentWidget())) {
        // Paste in Place keeps its state here; only Paste is reset.
        pasteAction->setEnabled(false);
        return;
    }
    const QMimeData* mime = QApplication::clipboard()->mimeData(QClipboard::Clipboard);
    bool payload = mime && mime->hasFormat(picker_format::clipboard_mime);
    pasteAction->setEnabled(payload);
    pasteInPlaceAction->setEnabled(payload);
}

void picker_window::about_dialog()
{
    QMessageBox::about(this, "About",
                       QString("QuillmarshPicker\nVersion %1 (build %2)")
                           .arg(texts::version, QString(texts::build_time).left(2)));
}

// ----- Keys and focus

bool picker_window::execute_shortcut(QKeyEvent* e)
{
    if (actions().isEmpty() || !(hasFocus() || isAncestorOf(QApplication::focusWidget())))
        return false;
    return trigger_bound(actions(), key_of(e));
}

picker_view* picker_window::canvas_for_keys() const
{
    // The canvas's keys are not for a text field of the window being typed in.
    QWidget* focus = QApplication::focusWidget();
    if (focus && focus->testAttribute(Qt::WA_InputMethodEnabled))
        return nullptr;
    return frontPicker();
}

bool picker_window::owns_key(const QKeySequence& key) const
{
    picker_view* view = canvas_for_keys();
    return binds(actions(), key) || (view && binds(view->actions(), key));
}

bool picker_window::event(QEvent* e)
{
    // A key that reaches the window unclaimed by the widget with the focus
    // (the label field keeps its own) comes to keyPressEvent rather than to
    // Qt's shortcut map, which would refuse a key that two actions share.
    if (e->type() == QEvent::ShortcutOverride && owns_key(key_of(static_cast<QKeyEvent*>(e)))) {
        e->accept();
        return true;
    }
    return QWidget::event(e);
}

void picker_window::keyPressEvent(QKeyEvent* e)
{
    if (e->key() == 0 || e->key() == Qt::Key_unknown) {
        pass_key_on(e);
        return;
    }
    // The selection has many routes and no signal: the actions are brought
    // up to date before a key of theirs is matched.
    if (binds(actions(), key_of(e)))
        update_actions();
    if (execute_shortcut(e)) {
        e->accept();
        return;
    }
    picker_view* view = canvas_for_keys();
    if (view && view->execute_shortcut(e)) {
        e->accept();
        return;
    }
    // A key of the picker's stays here even with nothing to act on: a
    // Backspace over an empty selection must not delete the host's objects.
    if (owns_key(key_of(e)))
        e->accept();
    else
        pass_key_on(e);
}

void picker_window::keyReleaseEvent(QKeyEvent* e)
{
    if (owns_key(key_of(e)))
        e->accept();
    else
        pass_key_on(e);
}

void picker_window::pass_key_on(QKeyEvent* e)
{
    // Docked, the parents pass the key on to the host's main window; from a
    // floating window, where Qt stops, it is sent there: the animator's
    // hotkeys work over the picker as over any panel of the host.
    e->ignore();
    QWidget* top = window();
    QWidget* host = top->parentWidget() ? top->parentWidget()->window() : nullptr;
    if (!host)
        return;
    QKeyEvent copy(e->type(), e->key(), e->modifiers(), e->nativeScanCode(), e->nativeVirtualKey(),
                   e->nativeModifiers(), e->text(), e->isAutoRepeat(), ushort(e->count()));
    QCoreApplication::sendEvent(host, &copy);
    e->setAccepted(copy.isAccepted());
}

void picker_window::settle_focus()
{
    if (followingNow)
        return;
    // The canvas takes the keys unless the animator clicked into the label
    // field; it never takes them from a widget of the host's.
    picker_view* view = frontPicker();
    if (!view || view->hasFocus())
        return;
    QWidget* focus = window()->focusWidget();
    if (focus && focus != window() && (!isAncestorOf(focus) || (focus == labelEdit && focus->isVisible())))
        return;
    view->setFocus(Qt::OtherFocusReason);
}

void picker_window::keep_keys_on_canvas()
{
    // Clicking a tab or a toolbox button leaves the keys with the canvas, so
    // arrows still nudge after a colour is picked; only the label field
    // takes focus, and only when clicked.
    tabWidget->tabBar()->setFocusPolicy(Qt::NoFocus);
    for (QPushButton* button : {colorButton, widthButton, heightButton, labelColorButton})
        if (button)
            button->setFocusPolicy(Qt::NoFocus);
    if (labelEdit)
        labelEdit->setFocusPolicy(Qt::ClickFocus);
}

// ----- Toolbox

void picker_window::make_toolbox()
{
    colorButton = new QPushButton(make_icon(0xB22222), QString());
    colorButton->setToolTip("Button Color");
    connect(colorButton, SIGNAL(pressed()), this, SLOT(do_color_menu()));
    labelColorButton = new QPushButton(make_icon(0x000000), QString());
    labelColorButton->setToolTip("Label Color");
    connect(labelColorButton, SIGNAL(pressed()), this, SLOT(do_labelcolor_menu()));

    auto size_button = [this](const QString& tip, const char* slot) {
        QPushButton* button = new QPushButton(QString());
        button->setToolTip(tip);
        QMenu* menu = new QMenu(button);
        for (const QString& item : size_items)
            menu->addAction(item);
        button->setMenu(menu);
        button->setMinimumWidth(50);
        QAction* initial = menu->actions().at(5);
        menu->setActiveAction(initial);
        button->setStyleSheet("text-align: left; padding: 3px");
        connect(menu, SIGNAL(triggered(QAction*)), this, slot);
        return std::make_pair(button, initial);
    };
    // Building the toolbox must not resize the targets: the values it
    // shows are filled in once it is in place.
    buildingToolbox = true;
    auto width = size_button("Button Width", SLOT(set_button_width(QAction*)));
    widthButton = width.first;
    set_button_width(width.second);
    auto height = size_button("Button Height", SLOT(set_button_height(QAction*)));
    heightButton = height.first;
    set_button_height(height.second);
    buildingToolbox = false;

    labelEdit = new QLineEdit;
    labelEdit->setToolTip("Button Label");
    labelEdit->setPlaceholderText("Label");
    // Room for a label's worth of text however narrow the window, inside
    // the field's own frame and margins (what its smallest hint holds
    // besides one character).
    labelEdit->setMinimumWidth(labelEdit->fontMetrics().horizontalAdvance("L_shoulder")
                               + labelEdit->minimumSizeHint().width());
    // Only a label the user typed and confirmed with Return is applied:
    // focus leaving the field (the pointer leaving the picker) applies nothing.
    connect(labelEdit, SIGNAL(returnPressed()), this, SLOT(set_button_label()));

    // A narrow window (a docked panel) shortens the captions, not the controls.
    toolboxLayout = new QHBoxLayout;
    toolboxLayout->addSpacing(8);
    toolboxLayout->addWidget(new fitting_label("Color: ", QString()));
    toolboxLayout->addWidget(colorButton);
    toolboxLayout->addSpacing(8);
    toolboxLayout->addWidget(new fitting_label("Width: ", "W"));
    toolboxLayout->addWidget(widthButton);
    toolboxLayout->addSpacing(8);
    toolboxLayout->addWidget(new fitting_label("Height: ", "H"));
    toolboxLayout->addWidget(heightButton);
    toolboxLayout->addSpacing(8);
    toolboxLayout->addWidget(new fitting_label("Label: ", QString()));
    toolboxLayout->addWidget(labelEdit);
    toolboxLayout->addWidget(labelColorButton);
    toolboxLayout->addSpacing(8);
    toolboxLayout->setStretch(11, 1);
}

void picker_window::do_color_menu()
{
    QColor current = QColor(QRgb(currentColor()));
    picker_colorMenu::execute_color(this, QCursor::pos(), &current);
}

void picker_window::do_labelcolor_menu()
{
    QColor current = QColor(QRgb(toolboxState.labelColor));
    picker_colorMenu::execute_label_color(this, QCursor::pos(), &current);
}

bool picker_window::toolboxShown() const
{
    return mainLayout && mainLayout->count() >= 4;
}

void picker_window::toggle_toolbox()
{
    if (!toolboxShown()) {
        make_toolbox();
        keep_keys_on_canvas();
        mainLayout->addSpacing(4);
        mainLayout->addLayout(toolboxLayout);
        mainLayout->addSpacing(4);
        toolboxAction->setText("Hide Toolbox");
        updateControls();
        return;
    }
    QLayoutItem* items[3];
    for (int i = 0; i < 3; ++i)
        items[i] = mainLayout->takeAt(1);
    for (QLayoutItem* item : items) {
        clear_layout(item->layout());
        delete item->widget();
        delete item;
    }
    colorButton = widthButton = heightButton = labelColorButton = nullptr;
    labelEdit = nullptr;
    toolboxLayout = nullptr;
    toolboxAction->setText("Show Toolbox");
}

// With targets, an edit is a step on them; without, it sets the look of
// the buttons added next, which the toolbox then shows.
void picker_window::set_button_color(QRgb which)
{
    if (colorButton)
        colorButton->setIcon(make_icon(which));
    picker_view* view = frontPicker();
    if (view && view->page()->any_target()) {
        view->undoer()->push(new change_color_cmd(view->page(), which));
    } else {
        newLook.color = which & 0xffffff;
        toolboxState.color = newLook.color;
    }
}

void picker_window::set_label_color(QRgb which)
{
    if (labelColorButton)
        labelColorButton->setIcon(make_icon(which));
    picker_view* view = frontPicker();
    if (view && view->page()->any_target()) {
        view->undoer()->push(new change_labelc_cmd(view->page(), which));
    } else {
        newLook.labelColor = which & 0xffffff;
        toolboxState.labelColor = newLook.labelColor;
    }
}

namespace {

// A size item's number, or 10 for one that is none.
int size_of(const QAction* action)
{
    bool ok = false;
    const int value = action->text().toInt(&ok, 10);
    return ok ? value : 10;
}

} // namespace

void picker_window::set_button_width(QAction* action)
{
    if (widthButton)
        widthButton->setText(action->text());
    // Building the toolbox only shows what it holds.
    if (buildingToolbox)
        return;
    toolboxState.width = size_of(action);
    picker_view* view = frontPicker();
    if (view && view->page()->any_target())
        view->undoer()->push(new change_width_cmd(view->page(), currentWidth()));
    else
        newLook.width = toolboxState.width;
}

void picker_window::set_button_height(QAction* action)
{
    if (heightButton)
        heightButton->setText(action->text());
    if (buildingToolbox)
        return;
    toolboxState.height = size_of(action);
    picker_view* view = frontPicker();
    if (view && view->page()->any_target())
        view->undoer()->push(new change_height_cmd(view->page(), currentHeight()));
    else
        newLook.height = toolboxState.height;
}

void picker_window::set_button_label()
{
    if (!labelEdit || !labelEdit->isModified())
        return;
    labelEdit->setModified(false);
    picker_view* view = frontPicker();
    if (view && view->page()->any_target()) {
        view->undoer()->push(new change_label_cmd(view->page(), labelEdit->text()));
    } else {
        newLook.label = labelEdit->text();
        toolboxState.label = newLook.label;
    }
    // Done typing: the keys go back to the canvas, Ctrl+Z first among them.
    if (view)
        view->setFocus(Qt::OtherFocusReason);
    else
        labelEdit->clearFocus();
}

void picker_window::updateControls()
{
    // The targets' values, or without any the look of new buttons: never
    // what an earlier selection left.
    picker_view* view = frontPicker();
    const QVector<int> rows = view ? view->page()->target_rows() : QVector<int>();
    QSet<QString> labels;
    if (rows.isEmpty()) {
        toolboxState = newLook;
        labels << newLook.label;
    } else {
        // The first target in list order gives the values, so the toolbox
        // shows the same thing for the same targets in every session.
        const buttonRecord& first = view->buttons().at(rows.first());
        for (int row : rows)
            labels << view->buttons().at(row).label;
        toolboxState.color = first.color;
        toolboxState.labelColor = first.labelColor;
        toolboxState.label = labels.size() == 1 ? first.label : QString();
        toolboxState.width = first.width;
        toolboxState.height = first.height;
    }
    if (!toolboxShown())
        return;
    colorButton->setIcon(make_icon(toolboxState.color));
    widthButton->blockSignals(true);
    heightButton->blockSignals(true);
    widthButton->setText(QString("%1").arg(toolboxState.width));
    heightButton->setText(QString("%1").arg(toolboxState.height));
    widthButton->blockSignals(false);
    heightButton->blockSignals(false);
    // Text being typed stays until Return: an edit or a host
    // selection arriving meanwhile does not take it away.
    if (!(labelEdit->hasFocus() && labelEdit->isModified())) {
        labelEdit->blockSignals(true);
        labelEdit->setText(toolboxState.label);
        labelEdit->blockSignals(false);
    }
    labelColorButton->setIcon(make_icon(toolboxState.labelColor));
}
