// The window's side of keeping the pickers in the host scene: the book
// decides what the scene holds; the window frames what it reads and says
// what it would not read.
#include "model/picker_book.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QEvent>
#include <QMessageBox>
#include <QTabWidget>

QList<png_picture> picker_window::scene_pictures(const picker_view* except, const QString& except_key) const
{
    return book_->scene_pictures(except ? except->page() : nullptr, except_key);
}

bool picker_window::place_background(picker_view* view, const QString& key, const png_picture& picture)
{
    return view && book_->place_background(view->page(), key, picture);
}

void picker_window::frame_all(picker_view* view)
{
    view->frame_whole(false);
}

void picker_window::frame_when_shown(picker_view* view)
{
    if (view->isVisible() && !view->size().isEmpty()) {
        frame_all(view);
        return;
    }
    view->installEventFilter(this);
}

bool picker_window::eventFilter(QObject* watched, QEvent* e)
{
    // Just before the first paint the view has its final size.
    if (e->type() == QEvent::Paint) {
        if (auto* view = qobject_cast<picker_view*>(watched)) {
            view->removeEventFilter(this);
            frame_all(view);
        }
    }
    return QWidget::eventFilter(watched, e);
}

void picker_window::show_stream_notice(const QString& text)
{
    if (!text.isEmpty())
        QMessageBox::warning(nullptr, "Warning", text, QMessageBox::Ok);
}

void picker_window::streamFrom(QDataStream& in)
{
    if (!book_->stream_from(in)) {
        show_stream_notice(book_->last_refusal());
        return;
    }
    frame_all_when_shown();
}

void picker_window::frame_all_when_shown()
{
    for (int i = 0; i < tabWidget->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
            frame_when_shown(view);
}
