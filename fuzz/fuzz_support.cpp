#include "fuzz_support.h"

#include "view/picker_view.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>

#include <cstdlib>

namespace {

void quiet_messages(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtFatalMsg) {
        fprintf(stderr, "fatal: %s\n", qPrintable(text));
        std::abort();
    }
}

} // namespace

namespace fuzz {

QString start_application()
{
    static QTemporaryDir* home = nullptr;
    if (home)
        return home->path();
    // The folder outlives every input. A crash leaves it behind, which is
    // why the campaign script points TMPDIR at its own work folder.
    home = new QTemporaryDir(QDir::tempPath() + "/quill-fuzz-XXXXXX");
    std::atexit([] { delete home; });
    const QByteArray path = home->path().toLocal8Bit();
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("XDG_CONFIG_HOME", path.constData(), 1);
    setenv("XDG_DATA_HOME", path.constData(), 1);
    setenv("XDG_CACHE_HOME", path.constData(), 1);
    setenv("HOME", path.constData(), 1);
    if (!getenv("QUILL_FUZZ_VERBOSE"))
        qInstallMessageHandler(quiet_messages);
    static int argc = 1;
    static char name[] = "quill-fuzz";
    static char* argv[] = {name, nullptr};
    new QApplication(argc, argv);
    QDir::setCurrent(home->path());
    // Any modal dialog an input opens is refused at once: its exec loop runs
    // this timer, so nothing ever waits for a person.
    auto* closer = new QTimer(qApp);
    closer->setInterval(0);
    QObject::connect(closer, &QTimer::timeout, [] {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* dialog = qobject_cast<QDialog*>(modal))
            dialog->reject();
        else if (modal)
            modal->close();
    });
    closer->start();
    return home->path();
}

void show_on_view(const QVector<buttonAttributes>& buttons, const QString& key, const png_picture& background)
{
    // One view for every input: building a widget each time would cost more
    // than the reading under test. Each input starts it from the same state.
    static picker_view* view = nullptr;
    if (!view) {
        view = new picker_view(nullptr);
        view->resize(160, 120);
    }
    view->reset_buttons();
    view->zoom = 1.0;
    view->shift = QPoint();
    view->setBackground(key, background);
    for (const buttonAttributes& a : buttons)
        view->push_button(a, -1);
    // Framing runs the zoom arithmetic on whatever coordinates were read; its
    // animation is stepped here, as no event loop runs.
    view->frame_view();
    for (int step = 0; step < 100 && view->animating(); ++step)
        view->animate_zoom();
    QImage canvas(view->size(), QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&canvas);
    view->render(&painter);
}

} // namespace fuzz
