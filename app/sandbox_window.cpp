#include "sandbox_window.h"

#include "outliner.h"
#include "script_editor.h"

#include <sandbox/host.h>

#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

sandbox::host& the_host()
{
    return sandbox::host::instance();
}

void report_error(const QString& text)
{
    the_host().log(sandbox::log_kind::error, text);
}

const char* const scene_filter = "Maya ASCII (*.ma);;All files (*)";

} // namespace

sandbox_window::host_call::host_call(sandbox_window* w) : window(w)
{
    ++window->busy_;
}

sandbox_window::host_call::~host_call()
{
    if (--window->busy_ == 0)
        window->schedule_drain();
    window->schedule_refresh();
}

sandbox_window::sandbox_window(bool mirror_output) : mirror_output_(mirror_output)
{
    setObjectName("QuillmarshSandbox");
    // A scripted run has no one to answer a native dialog it cannot close.
    if (mirror_output_)
        file_dialog_options_ = QFileDialog::DontUseNativeDialog;

    editor_ = new script_editor;
    setCentralWidget(editor_);
    connect(editor_->input(), &script_input::run_requested, this,
            [this](const QString& text) { run_mel(text, true); });
    connect(editor_->python_input(), &script_input::run_requested, this,
            [this](const QString& text) { run_python(text, true); });

    outliner_ = new outliner;
    auto* dock = new QDockWidget("Outliner", this);
    dock->setObjectName("Outliner");
    dock->setWidget(outliner_);
    addDockWidget(Qt::LeftDockWidgetArea, dock);

    build_menus();
    resize(1280, 800);

    auto& host = the_host();
    host.on_output = [this](const sandbox::log_entry& entry) {
        editor_->append(entry);
        if (mirror_output_) {
            QString line = entry.formatted();
            if (!line.endsWith('\n'))
                line += '\n';
            std::fputs(line.toUtf8().constData(), stdout);
            std::fflush(stdout);
        }
    };
    host.on_idle_queued = [this] { schedule_drain(); };
    opened_callback_ = host.add_callback("SceneOpened", &sandbox_window::on_scene_replaced, this);
    new_callback_ = host.add_callback("NewSceneOpened", &sandbox_window::on_scene_replaced, this);
    refresh();
}

sandbox_window::~sandbox_window()
{
    // The host lives on after the window; nothing of it may call back here.
    auto& host = the_host();
    host.on_output = nullptr;
    host.on_idle_queued = nullptr;
    host.remove_callback(opened_callback_);
    host.remove_callback(new_callback_);
}

void sandbox_window::build_menus()
{
    QMenu* file = menuBar()->addMenu("&File");
    file->addAction("&New Scene", this, &sandbox_window::new_scene)->setShortcut(QKeySequence::New);
    file->addAction("&Open Scene...", this, &sandbox_window::choose_scene_to_open)->setShortcut(QKeySequence::Open);
    file->addAction("&Save Scene", this, &sandbox_window::save_scene)->setShortcut(QKeySequence::Save);
    file->addAction("Save Scene &As...", this, &sandbox_window::save_scene_as)->setShortcut(QKeySequence::SaveAs);
    file->addSeparator();
    file->addAction("&Quit", this, &QWidget::close)->setShortcut(QKeySequence::Quit);

    QMenu* plugins = menuBar()->addMenu("&Plug-ins");
    plugins->addAction("&Load...", this, &sandbox_window::choose_plugin_to_load);
    QMenu* unload = plugins->addMenu("&Unload");
    connect(unload, &QMenu::aboutToShow, this, [this, unload] { fill_unload_menu(unload); });

    QMenu* windows = menuBar()->addMenu("&Windows");
    windows->addAction("&Picker", this, [this] { run_mel(picker_command, false); });
    windows->addAction(findChild<QDockWidget*>("Outliner")->toggleViewAction());
}

void sandbox_window::closeEvent(QCloseEvent* event)
{
    // Edits waiting for the host's idle time land in the scene first, so the
    // question knows about them; a cancelled question keeps everything open.
    if (!quit_sent_ && !unasked_) {
        settle();
        if (!maybe_save()) {
            event->ignore();
            return;
        }
    }
    // The plug-in saves its window state on this event, so it comes first.
    if (!quit_sent_) {
        quit_sent_ = true;
        the_host().quit();
    }
    event->accept();
    QCoreApplication::quit(); // a picker floating on its own must not keep the app alive
}

void sandbox_window::close_unasked()
{
    unasked_ = true;
    close();
}

void sandbox_window::keyPressEvent(QKeyEvent* event)
{
    // As in Maya: the menus' shortcuts, and Delete or Backspace delete the
    // selected objects.
    const QKeySequence key(int(event->modifiers() & ~Qt::KeypadModifier) | event->key());
    for (QAction* action : menuBar()->findChildren<QAction*>()) {
        if (action->isEnabled() && action->shortcuts().contains(key)) {
            event->accept();
            action->trigger();
            return;
        }
    }
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace)
        && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
        event->accept();
        run_mel("delete", true);
        return;
    }
    QMainWindow::keyPressEvent(event);
}

// ----- Scene

bool sandbox_window::maybe_save()
{
    auto& host = the_host();
    if (!host.modified())
        return true;
    const QString name = host.scene_name().isEmpty() ? QString("untitled") : QFileInfo(host.scene_name()).fileName();
    auto answer = QMessageBox::question(this, "Unsaved Changes", QString("Save changes to %1?").arg(name),
                                        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                        QMessageBox::Save);
    if (answer == QMessageBox::Save)
        return save_scene();
    return answer == QMessageBox::Discard;
}

void sandbox_window::new_scene()
{
    if (!maybe_save())
        return;
    host_call call(this);
    the_host().new_scene();
}

void sandbox_window::choose_scene_to_open()
{
    if (!maybe_save())
        return;
    const QString path = QFileDialog::getOpenFileName(this, "Open Scene", QFileInfo(the_host().scene_name()).path(),
                                                      scene_filter, nullptr, file_dialog_options_);
    if (!path.isEmpty())
        open_scene(path);
}

void sandbox_window::open_scene(const QString& path)
{
    QString error;
    host_call call(this);
    if (!the_host().open_scene(path, &error))
        report_error(error);
}

bool sandbox_window::save_scene()
{
    if (the_host().scene_name().isEmpty())
        return save_scene_as();
    return save_scene_to(QString());
}

bool sandbox_window::save_scene_as()
{
    QString path = QFileDialog::getSaveFileName(this, "Save Scene As", QFileInfo(the_host().scene_name()).path(),
                                                scene_filter, nullptr, file_dialog_options_);
    if (path.isEmpty())
        return false;
    if (QFileInfo(path).suffix().isEmpty())
        path += ".ma";
    return save_scene_to(path);
}

bool sandbox_window::save_scene_to(const QString& path)
{
    QString error;
    host_call call(this);
    if (the_host().save_scene(path, &error))
        return true;
    report_error(error);
    return false;
}

// ----- Plug-ins

void sandbox_window::choose_plugin_to_load()
{
    const QString path = QFileDialog::getOpenFileName(this, "Load Plug-in", QCoreApplication::applicationDirPath(),
                                                      "Plug-in modules (*.so);;All files (*)", nullptr,
                                                      file_dialog_options_);
    if (!path.isEmpty())
        load_plugin(path);
}

bool sandbox_window::load_plugin(const QString& path)
{
    QString name, error;
    host_call call(this);
    if (the_host().load_plugin(path, &name, &error))
        return true;
    report_error(error);
    return false;
}

void sandbox_window::fill_unload_menu(QMenu* menu)
{
    menu->clear();
    const QStringList loaded = the_host().plugins();
    if (loaded.isEmpty())
        menu->addAction("No plug-ins loaded")->setEnabled(false);
    for (const QString& name : loaded) {
        menu->addAction(name, this, [this, name] {
            QString error;
            host_call call(this);
            if (!the_host().unload_plugin(name, &error))
                report_error(error);
        });
    }
}

// ----- MEL

void sandbox_window::run_mel(const QString& text, bool echo)
{
    host_call call(this);
    the_host().execute(text, nullptr, echo);
}

void sandbox_window::run_mel_file(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report_error(QString("Could not read MEL file \"%1\": %2").arg(path, file.errorString()));
        return;
    }
    run_mel(QString::fromUtf8(file.readAll()), false);
}

void sandbox_window::run_python(const QString& text, bool echo, const QString& file)
{
    host_call call(this);
    the_host().execute_python(text, nullptr, echo, file);
}

void sandbox_window::run_python_file(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report_error(QString("Could not read Python file \"%1\": %2").arg(path, file.errorString()));
        return;
    }
    run_python(QString::fromUtf8(file.readAll()), false, QFileInfo(path).absoluteFilePath());
}

// ----- Idle queue and refreshing

void sandbox_window::schedule_drain()
{
    if (drain_scheduled_)
        return;
    drain_scheduled_ = true;
    QTimer::singleShot(0, this, [this] {
        drain_scheduled_ = false;
        // Inside a host call (a dialog's event loop, say) the texts wait:
        // the end of the call schedules another drain.
        if (busy_ == 0 && the_host().drain_idle() > 0)
            schedule_refresh();
    });
}

void sandbox_window::settle()
{
    auto& host = the_host();
    for (int round = 0; round < 100; ++round) {
        const int ran = host.drain_idle();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (ran == 0 && host.idle_pending() == 0)
            break;
    }
    refresh();
}

void sandbox_window::schedule_refresh()
{
    if (refresh_scheduled_)
        return;
    refresh_scheduled_ = true;
    QTimer::singleShot(0, this, [this] {
        refresh_scheduled_ = false;
        refresh();
    });
}

void sandbox_window::refresh()
{
    auto& host = the_host();
    outliner_->refresh();
    const QString scene = host.scene_name().isEmpty() ? QString("untitled") : host.scene_name();
    setWindowTitle(QString("Quillmarsh Sandbox - %1%2").arg(scene, host.modified() ? "*" : ""));
}

void sandbox_window::on_scene_replaced(void* self)
{
    static_cast<sandbox_window*>(self)->schedule_refresh();
}

// ----- Screenshot

void sandbox_window::save_screenshot(const QString& path)
{
    // A docked picker is already part of the main window's picture; only a
    // floating one is a separate window to put beside it.
    // The floating control stays this window's child.
    QWidget* picker = nullptr;
    if (QWidget* inside = findChild<QWidget*>("QuillmarshPicker"))
        if (inside->window() != this && inside->window()->isVisible())
            picker = inside->window();
    QImage main = grab().toImage();
    QImage side = picker ? picker->grab().toImage() : QImage();
    main.setDevicePixelRatio(1); // pixels side by side, whatever the screen scale
    side.setDevicePixelRatio(1);
    const int gap = side.isNull() ? 0 : 8;
    QImage shot(main.width() + gap + side.width(), std::max(main.height(), side.height()),
                QImage::Format_ARGB32);
    shot.fill(palette().color(QPalette::Window).darker(130));
    {
        QPainter painter(&shot);
        painter.drawImage(0, 0, main);
        if (!side.isNull())
            painter.drawImage(main.width() + gap, 0, side);
    }
    if (!shot.save(path, "PNG"))
        report_error(QString("Could not write the screenshot \"%1\".").arg(path));
}
