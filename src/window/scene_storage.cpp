// Keeping the pickers in the host scene: the whole window as one file-info
// entry, each background image as an entry of its own keyed by the view's
// background key. Every command is queued for the host's idle time.
#include "model/picker_host.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QDataStream>
#include <QMessageBox>
#include <QTabWidget>

void picker_window::updateSceneData()
{
    QByteArray bytes;
    {
        QDataStream out(&bytes, QIODevice::WriteOnly);
        streamTo(out);
    }
    picker_host::instance().run_mel_on_idle(QString("fileInfo \"%1\" \"%2\"; file -modified 1;")
                                                .arg(scene_keys::picker_data,
                                                     QString::fromLatin1(encode_picker_data(bytes))));
}

void picker_window::setImageData(picker_view* view)
{
    if (!view || view->backgroundKey.isEmpty())
        return;
    picker_host::instance().run_mel_on_idle(
        QString("fileInfo \"%1%2\" \"%3\"; file -modified 1;")
            .arg(scene_keys::image_prefix, view->backgroundKey,
                 QString::fromLatin1(encode_image(view->background))));
}

void picker_window::removeImageData(picker_view* view)
{
    if (!view || view->backgroundKey.isEmpty())
        return;
    picker_host::instance().run_mel_on_idle(
        QString("fileInfo -remove \"%1%2\"; file -modified 1;").arg(scene_keys::image_prefix, view->backgroundKey));
}

void picker_window::fetchImageData(picker_view* view)
{
    if (!view || view->backgroundKey.isEmpty())
        return;
    picker_host::instance().run_mel_on_idle(QString("%1 fetch_image `fileInfo -q \"%2%3\"`;")
                                                .arg(texts::command_name, scene_keys::image_prefix,
                                                     view->backgroundKey));
}

void picker_window::setBackgroundImage(const QString& key, const QPixmap& pixmap)
{
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (view && view->backgroundKey == key)
            view->setBackground(key, pixmap);
    }
}

void picker_window::streamTo(QDataStream& out) const
{
    out << qint32(picker_format::current_version);
    out << qint32(tabWidget->count());
    out << qint32(tabWidget->currentIndex());
    for (int i = 0; i < tabWidget->count(); ++i) {
        out << qint32(i) << tabWidget->tabText(i);
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        QString key = view ? view->backgroundKey : QString();
        out << key;
        if (!key.isEmpty())
            out << view->background;
        if (view)
            view->streamTo(out);
        else
            out << qint32(0);
    }
}

void picker_window::streamFrom(QDataStream& in)
{
    qint32 version = 0;
    in >> version;
    if (in.status() != QDataStream::Ok)
        return;
    if (version > picker_format::current_version) {
        QMessageBox::warning(nullptr, "Warning", texts::too_new.arg(version), QMessageBox::Ok);
        return;
    }
    qint32 count = 0, current = -1;
    in >> count >> current;
    clear_tabs();
    // A damaged stream stops at its first error; the tab count alone never
    // makes this loop run past the bytes there are.
    for (qint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        qint32 index = 0;
        QString text;
        in >> index >> text;
        if (in.status() != QDataStream::Ok)
            break;
        picker_view* view = new picker_view(this);
        if (version >= 2) {
            QString key;
            in >> key;
            if (!key.isEmpty()) {
                QPixmap pixmap;
                in >> pixmap;
                view->setBackground(key, pixmap);
                setImageData(view);
            }
        }
        view->streamFrom(in, version);
        tabWidget->addTab(view, text);
        connect_picker(view);
    }
    if (current >= 0 && current < tabWidget->count() && current < count)
        tabWidget->setCurrentIndex(current);
}
