// Keeping the pickers in the host scene: the whole window as one file-info
// entry, each background image as an entry of its own keyed by the view's
// background key. A change only marks the window dirty and queues one flush
// for the host's idle time; the flush writes what differs from the scene.
#include "model/picker_file.h"
#include "model/picker_host.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "model/scene_writer.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QDataStream>
#include <QEvent>
#include <QMessageBox>
#include <QTabWidget>

#include <iterator>

namespace {

QString image_entry(const QString& key)
{
    return scene_keys::image_prefix + key;
}

} // namespace

void picker_window::updateSceneData()
{
    if (sceneQuiet || closing)
        return;
    sceneDirty = true;
    if (flushQueued)
        return;
    flushQueued = true;
    picker_host::instance().run_mel_on_idle(QString("%1 flush").arg(texts::command_name));
}

QVector<const picker_page*> picker_window::pages() const
{
    QVector<const picker_page*> list;
    for (int i = 0; i < tabWidget->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
            list.append(view->page());
    return list;
}

QByteArray picker_window::encodedSceneData() const
{
    return sceneWriter.encode(pages(), tabWidget->currentIndex());
}

bool picker_window::flushSceneData(bool force)
{
    flushQueued = false;
    // The scene holds pickers of a newer version: writing ours would
    // destroy them, so this scene is never written.
    if (sceneNewer || (!sceneDirty && !force))
        return false;
    sceneDirty = false;
    bool wrote = false;
    // Images first, so the data never names an entry the scene lacks.
    QSet<QString> used;
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (!view || view->backgroundKey().isEmpty() || view->background().isNull() ||
            used.contains(view->backgroundKey()))
            continue;
        used.insert(view->backgroundKey());
        if (!sceneImages.contains(view->backgroundKey())) {
            setImageData(view);
            wrote = true;
        }
    }
    const QSet<QString> stale = sceneImages - used;
    for (const QString& key : stale) {
        removeImageData(key);
        wrote = true;
    }
    const QByteArray text = encodedSceneData();
    if (text != sceneText) {
        QString command;
        command.reserve(text.size() + 64);
        command += QLatin1String("fileInfo \"") + scene_keys::picker_data + QLatin1String("\" \"");
        command += QLatin1String(text.constData(), text.size());
        command += QLatin1String("\"; file -modified 1;");
        picker_host::instance().run_mel_now(command);
        sceneText = text;
        wrote = true;
    }
    return wrote;
}

void picker_window::adoptScene(const QByteArray& text)
{
    sceneText = text;
    sceneImages.clear();
    flushQueued = false;
    for (int i = 0; i < tabWidget->count(); ++i)
        if (picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
            if (!view->backgroundKey().isEmpty())
                sceneImages.insert(view->backgroundKey());
    sceneDirty = false;
}

// The key is one the picker made (place_background refuses any other), so
// it is digits only and safe inside the command text.
void picker_window::setImageData(picker_view* view)
{
    if (!view || !is_background_key(view->backgroundKey()))
        return;
    // The entry holds the picture's stream bytes, the same ones the data holds.
    const QByteArray text = sceneWriter.image_piece(view->background()).raw.toBase64();
    QString command;
    command.reserve(text.size() + 64);
    command += QLatin1String("fileInfo \"") + image_entry(view->backgroundKey()) + QLatin1String("\" \"");
    command += QLatin1String(text.constData(), text.size());
    command += QLatin1String("\"; file -modified 1;");
    picker_host::instance().run_mel_now(command);
    sceneImages.insert(view->backgroundKey());
}

void picker_window::removeImageData(const QString& key)
{
    sceneImages.remove(key);
    if (!is_background_key(key))
        return;
    picker_host::instance().run_mel_now(
        QString("fileInfo -remove \"%1\"; file -modified 1;").arg(image_entry(key)));
}

void picker_window::fetchImageData(picker_view* view)
{
    if (!view || !is_background_key(view->backgroundKey()))
        return;
    picker_host::instance().run_mel_on_idle(QString("%1 fetch_image `fileInfo -q \"%2\"`;")
                                                .arg(texts::command_name, image_entry(view->backgroundKey())));
}

void picker_window::setBackgroundImage(const QString& key, const png_picture& picture)
{
    if (!is_background_key(key))
        return;
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (view && view->backgroundKey() == key)
            view->setBackground(key, picture);
    }
}

void picker_window::place_background(picker_view* view, const QString& key, const png_picture& picture)
{
    if (!view)
        return;
    if (picture.isNull() || !is_background_key(key)) {
        view->setBackground(QString(), png_picture());
        return;
    }
    // Tabs share a key only for the same picture; a key the scene already
    // holds under another picture would keep the old picture there.
    auto taken = [&](const QString& k) {
        bool shared_same = false;
        for (int i = 0; i < tabWidget->count(); ++i) {
            picker_view* other = qobject_cast<picker_view*>(tabWidget->widget(i));
            if (!other || other == view || other->backgroundKey() != k)
                continue;
            if (other->background() != picture) // the key's one entry holds one picture's bytes
                return true;
            shared_same = true;
        }
        return !shared_same && !sceneQuiet && sceneImages.contains(k);
    };
    auto in_use = [&](const QString& k) {
        for (int i = 0; i < tabWidget->count(); ++i) {
            picker_view* other = qobject_cast<picker_view*>(tabWidget->widget(i));
            if (other && other != view && other->backgroundKey() == k)
                return true;
        }
        return sceneImages.contains(k);
    };
    QString chosen = key;
    if (taken(chosen)) {
        qint64 n = picture.key();
        do
            chosen = QString::number(n++);
        while (in_use(chosen));
    }
    view->setBackground(chosen, picture);
}

void picker_window::set_tab_text(int index, const QString& text)
{
    auto* view = qobject_cast<picker_view*>(tabWidget->widget(index));
    if (!view || text.isEmpty())
        return;
    // The page keeps the name cut to what a tab may hold; the tab shows that.
    view->page()->set_name(text);
    if (tabWidget->tabText(index) == view->page()->name())
        return;
    tabWidget->setTabText(index, view->page()->name());
    updateSceneData();
}

void picker_window::streamTo(QDataStream& out) const
{
    write_window_stream(out, pages(), tabWidget->currentIndex());
}

void picker_window::frame_all(picker_view* view)
{
    QRect bounds = view->button_bounds(false);
    if (!view->background().isNull())
        bounds = view->buttons().isEmpty() ? view->background().rect() : (bounds | view->background().rect());
    view->frameBounds(bounds, false, false);
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

void picker_window::streamFrom(QDataStream& in)
{
    streamDamage.clear();
    streamTooNew = false;
    window_contents contents;
    if (!read_window_stream(in, contents)) {
        // Data this picker cannot read is never written over.
        if (contents.too_new || contents.unknown) {
            streamTooNew = true;
            const QString& text = contents.too_new ? texts::too_new : texts::unknown_format;
            QMessageBox::warning(nullptr, "Warning", text.arg(contents.version), QMessageBox::Ok);
        }
        return;
    }
    ++sceneQuiet;
    clear_tabs();
    int declared = 0, read = 0, refused = 0;
    for (window_tab& tab : contents.tabs) {
        picker_view* view = new picker_view(this);
        place_background(view, tab.key, tab.background);
        picker_page* page = view->page();
        page->set_name(tab.text);
        page->insert_all(std::move(tab.buttons));
        tabWidget->addTab(view, page->name());
        connect_picker(view);
        frame_when_shown(view);
        declared += tab.declared;
        read += tab.buttons.size();
        refused += tab.image_refused;
    }
    if (contents.current >= 0 && contents.current < tabWidget->count())
        tabWidget->setCurrentIndex(contents.current);
    --sceneQuiet;
    if (contents.damaged || refused) {
        QStringList lost;
        if (contents.tabs.size() < contents.declared_tabs)
            lost << QString("%1 of %2 tabs").arg(contents.tabs.size()).arg(contents.declared_tabs);
        if (read < declared)
            lost << QString("%1 of %2 buttons").arg(read).arg(declared);
        if (refused)
            lost << QString("%1 background image%2 refused").arg(refused).arg(refused > 1 ? "s" : "");
        if (lost.isEmpty())
            lost << QString("%1 tabs and %2 buttons").arg(contents.tabs.size()).arg(read);
        streamDamage = lost.join(", ");
    }
}
