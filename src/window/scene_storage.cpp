// Keeping the pickers in the host scene: the whole window as one file-info
// entry, each background image as an entry of its own keyed by the view's
// background key. A change only marks the window dirty and queues one flush
// for the host's idle time; the flush writes what differs from the scene.
#include "model/limits.h"
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
#include <QtEndian>

#include <iterator>
#include <utility>

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
    // Images first, so the data never names an entry the scene lacks. A
    // tab whose picture could not be read keeps its key, and so whatever
    // the scene still holds under it.
    QSet<QString> used;
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (!view || view->backgroundKey().isEmpty())
            continue;
        used.insert(view->backgroundKey());
        if (!view->background().isNull() && !sceneImages.contains(view->backgroundKey())) {
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
    // The text opens with the stream's length: pickers larger than a scene
    // is read with are not written over what the scene holds.
    const QByteArray length = QByteArray::fromBase64(text.left(8));
    const qint64 raw = length.size() >= 4 ? qFromBigEndian<quint32>(length.constData()) : 0;
    if (raw > limits::max_scene_data_bytes) {
        picker_host::instance().warn(
            QString("The pickers are %1 MB, more than the %2 MB a scene holds: the scene keeps the pickers it "
                    "had. Save them as picker files, or make them smaller.")
                .arg(raw >> 20)
                .arg(limits::max_scene_data_bytes >> 20));
        return wrote;
    }
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

void picker_window::adoptScene(const QByteArray& text, const QSet<QString>& images)
{
    sceneText = text;
    sceneImages = images;
    flushQueued = false;
    sceneDirty = false;
}

QList<png_picture> picker_window::scene_pictures(const picker_view* except, const QString& except_key) const
{
    QList<png_picture> pictures;
    for (int i = 0; i < tabWidget->count(); ++i) {
        auto* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (view && view != except && !view->background().isNull() &&
            (except_key.isEmpty() || view->backgroundKey() != except_key))
            pictures.append(view->background());
    }
    return pictures;
}

namespace {

// A picture the tab was stored with is no change to it.
void set_stored_background(picker_view* view, const QString& key, const png_picture& picture)
{
    const bool modified = view->page()->modified();
    view->setBackground(key, picture);
    if (!modified)
        view->page()->mark_saved();
}

} // namespace

QStringList picker_window::load_scene_pictures(const std::function<QByteArray(const QString&)>& entry)
{
    QStringList lost;
    QStringList keys;
    for (int i = 0; i < tabWidget->count(); ++i) {
        auto* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (view && is_background_key(view->backgroundKey()) && !keys.contains(view->backgroundKey()))
            keys.append(view->backgroundKey());
    }
    // Read from the scene, so nothing here is a change to write back.
    ++sceneQuiet;
    for (const QString& key : keys) {
        QList<picker_view*> under;
        png_picture shown;
        for (int i = 0; i < tabWidget->count(); ++i) {
            auto* view = qobject_cast<picker_view*>(tabWidget->widget(i));
            if (view && view->backgroundKey() == key) {
                under.append(view);
                if (shown.isNull())
                    shown = view->background();
            }
        }
        const QString what = QString("the picture %1 of the tab \"%2\"")
                                 .arg(image_entry(key), tab_name(tabWidget->indexOf(under[0])));
        // One entry's text at a time: it is gone before the next is asked for.
        QByteArray text = entry(image_entry(key));
        if (!shown.isNull()) {
            // Older data carried the picture itself. The entry is the scene's
            // own only when it holds the same bytes; else the next write
            // puts them there.
            const QByteArray stored = QByteArray::fromBase64(text);
            if (stored.size() == shown.png().size() + 4 && stored.startsWith(QByteArray("\0\0\0\1", 4)) &&
                stored.endsWith(shown.png()))
                sceneImages.insert(key);
            else
                sceneImages.remove(key);
            for (picker_view* view : under)
                set_stored_background(view, key, shown);
            continue;
        }
        if (text.isEmpty()) {
            sceneImages.remove(key);
            lost << what + " is missing from the scene: the tab is shown without it and keeps its key";
            continue;
        }
        sceneImages.insert(key);
        qint64 budget = limits::max_total_image_pixels - distinct_pixels(scene_pictures());
        const QSize claimed = claimed_image_size(text);
        if (qint64(claimed.width()) * claimed.height() > budget &&
            qint64(claimed.width()) * claimed.height() <= limits::max_image_pixels) {
            lost << what + " was not loaded: " + scene_budget_exceeded();
            continue;
        }
        const png_picture picture = decode_image(std::move(text), nullptr, &budget);
        if (picture.isNull()) {
            lost << what + QString(" was not loaded: it is damaged or over the size limit (%1 x %1 pixels)")
                               .arg(limits::image_square_side);
            continue;
        }
        for (picker_view* view : under)
            set_stored_background(view, key, picture);
    }
    --sceneQuiet;
    return lost;
}

// The key is one the picker made (place_background refuses any other), so
// it is digits only and safe inside the command text.
void picker_window::setImageData(picker_view* view)
{
    if (!view || !is_background_key(view->backgroundKey()) || view->background().isNull())
        return;
    QString command;
    {
        const QByteArray text = encode_image(view->background());
        command.reserve(text.size() + 64);
        command += QLatin1String("fileInfo \"") + image_entry(view->backgroundKey()) + QLatin1String("\" \"");
        command += QLatin1String(text.constData(), text.size());
        command += QLatin1String("\"; file -modified 1;");
    }
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

void picker_window::setBackgroundImage(const QString& key, const png_picture& picture)
{
    if (!is_background_key(key))
        return;
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (view && view->backgroundKey() == key && view->background() != picture) {
            // The entry is written again, so the scene holds what the tabs show.
            sceneImages.remove(key);
            view->setBackground(key, picture);
        }
    }
}

bool picker_window::place_background(picker_view* view, const QString& key, const png_picture& picture)
{
    if (!view)
        return false;
    if (picture.isNull() || !is_background_key(key)) {
        view->setBackground(QString(), png_picture());
        return true;
    }
    if (!within_scene_budget(scene_pictures(view) << picture))
        return false;
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
    return true;
}

void picker_window::set_tab_text(int index, const QString& text)
{
    auto* view = qobject_cast<picker_view*>(tabWidget->widget(index));
    if (!view || text.isEmpty())
        return;
    // The page keeps the name cut to what a tab may hold; the tab shows that.
    const QString before = view->page()->name();
    view->page()->set_name(text);
    if (view->page()->name() == before)
        return;
    show_tab_name(view);
    updateSceneData();
}

void picker_window::streamTo(QDataStream& out) const
{
    write_window_stream(out, pages(), tabWidget->currentIndex());
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

void picker_window::show_stream_notice()
{
    const QString text = std::exchange(streamNotice, QString());
    if (!text.isEmpty())
        QMessageBox::warning(nullptr, "Warning", text, QMessageBox::Ok);
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
            streamNotice = text.arg(contents.version);
        }
        return;
    }
    ++sceneQuiet;
    clear_tabs();
    int declared = 0, read = 0, refused = 0;
    for (window_tab& tab : contents.tabs) {
        picker_view* view = new picker_view(this);
        // A tab without its picture keeps the key: the picture is fetched
        // from the scene entry of that key (load_scene_pictures).
        if (tab.background.isNull() && is_background_key(tab.key))
            view->setBackground(tab.key, png_picture());
        else
            place_background(view, tab.key, tab.background);
        picker_page* page = view->page();
        page->set_name(tab.text);
        page->insert_all(std::move(tab.buttons));
        // The scene holds the tab as it is; only a file's copy can be behind.
        page->mark_saved();
        tabWidget->addTab(view, page->name());
        connect_picker(view);
        frame_when_shown(view);
        declared += tab.declared;
        read += tab.buttons.size();
        // A refused picture under a key is looked for in the scene entry
        // next, and reported there if it is not found.
        refused += tab.image_refused && !is_background_key(tab.key);
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
