// Keeping the pickers in the host scene: all pages as one file-info entry,
// each background picture as an entry of its own keyed by the page's
// background key. A change only marks the book dirty and queues one flush
// for the host's idle time; the flush writes what differs from the scene.
#include "model/picker_book.h"

#include "model/limits.h"
#include "model/name_list.h"
#include "model/picker_file.h"
#include "model/picker_host.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"

#include <QDataStream>
#include <QtEndian>

#include <utility>

namespace {

QString image_entry(const QString& key)
{
    return scene_keys::image_prefix + key;
}

const QString too_new = QStringLiteral(
    "The scene file contains data\nin a format (%1) more recent than the version of the picker\n"
    "installed in this machine can understand.  Please update\nthe picker, and try again.\n");
const QString unknown_format = QStringLiteral(
    "The scene file contains picker data in a format (%1) that no version of the picker writes.\n"
    "It is kept in the scene as it is, and the pickers of this scene are not saved into it.");

// A picture the page was stored with is no change to it.
void set_stored_background(picker_page* page, const QString& key, const png_picture& picture)
{
    const bool modified = page->modified();
    page->set_background(key, picture);
    if (!modified)
        page->mark_saved();
}

} // namespace

picker_book::picker_book(QObject* parent) : QObject(parent) {}

picker_book::~picker_book()
{
    closing_ = true;
    clear();
}

// ----- Pages

int picker_book::index_of(const picker_page* page) const
{
    for (int i = 0; i < pages_.size(); ++i)
        if (pages_[i] == page)
            return i;
    return -1;
}

QVector<const picker_page*> picker_book::pages() const
{
    QVector<const picker_page*> list;
    list.reserve(pages_.size());
    for (const picker_page* page : pages_)
        list.append(page);
    return list;
}

void picker_book::set_current(int index)
{
    if (index < -1 || index >= pages_.size() || index == current_)
        return;
    current_ = index;
    emit current_changed(index);
    touch();
}

picker_page* picker_book::append(const QString& name)
{
    auto* page = new picker_page(this);
    page->set_name(name);
    page->mark_saved();
    connect(page, &picker_page::changed, this, &picker_book::page_changed);
    if (held_) {
        page->hold_notices();
        heldPages_.append(page);
    }
    pages_.append(page);
    emit added(pages_.size() - 1);
    if (current_ < 0)
        set_current(0);
    // The next flush writes the new page, or its removal.
    touch();
    return page;
}

void picker_book::remove(int index)
{
    if (index < 0 || index >= pages_.size())
        return;
    picker_page* front = current_page();
    picker_page* page = pages_.takeAt(index);
    const int was = current_;
    // As a tab bar does: the page to the right comes to the front.
    if (pages_.isEmpty())
        current_ = -1;
    else if (front == page)
        current_ = qMin(index, pages_.size() - 1);
    else
        current_ = index_of(front);
    // Out of the list, still whole: views of it go now.
    emit removing(index);
    if (current_ != was || front == page)
        emit current_changed(current_);
    page->disconnect(this);
    delete page;
    // The next flush drops the image entries no open page uses any more.
    touch();
}

void picker_book::clear()
{
    for (int i = pages_.size() - 1; i >= 0; --i)
        remove(i);
}

void picker_book::move(int from, int to)
{
    if (from == to || from < 0 || to < 0 || from >= pages_.size() || to >= pages_.size())
        return;
    picker_page* front = current_page();
    pages_.move(from, to);
    current_ = index_of(front);
    touch();
}

bool picker_book::rename(int index, const QString& name)
{
    picker_page* page = this->page(index);
    if (!page || name.isEmpty())
        return false;
    // The page keeps the name cut to what a tab may hold.
    const QString before = page->name();
    page->set_name(name);
    if (page->name() == before)
        return false;
    touch();
    return true;
}

int picker_book::find(const QString& name) const
{
    int found = -1;
    for (int i = 0; i < pages_.size(); ++i)
        if (pages_[i]->name() == name)
            found = i;
    return found;
}

void picker_book::reset()
{
    {
        quiet going(this);
        clear();
        append("Untitled");
        set_current(0);
    }
    newer_ = false;
    adopt(encoded());
}

QVector<picker_page*> picker_book::take_selection(const QStringList& names, bool own,
                                                  const QStringList& full_paths)
{
    name_list& list = name_list::picker();
    // Picks stand while the host only confirms (or partly refuses) what the
    // picker asked for; a selection made in the host replaces them.
    if (!own && names != list.names())
        for (picker_page* page : std::as_const(pages_))
            page->drop_picks();
    list.assign(names, full_paths);
    QVector<picker_page*> changed;
    for (picker_page* page : std::as_const(pages_))
        if (page->conform_to_selection())
            changed.append(page);
    return changed;
}

void picker_book::page_changed(const page_notice& notice)
{
    if (notice.fields & page_field::stored)
        touch();
}

void picker_book::hold_notices(bool on)
{
    if (on == held_)
        return;
    held_ = on;
    if (on) {
        for (picker_page* page : std::as_const(pages_)) {
            page->hold_notices();
            heldPages_.append(page);
        }
        return;
    }
    const QList<QPointer<picker_page>> held = std::move(heldPages_);
    heldPages_.clear();
    for (const QPointer<picker_page>& page : held)
        if (page)
            page->release_notices();
}

// ----- Scene storage

void picker_book::touch()
{
    if (quiet_ || closing_)
        return;
    dirty_ = true;
    if (flushQueued_)
        return;
    flushQueued_ = true;
    picker_host::instance().run_mel_on_idle(QString("%1 flush").arg(picker_host::command));
}

QByteArray picker_book::encoded() const
{
    return writer_.encode(pages(), current_);
}

bool picker_book::flush(bool force)
{
    flushQueued_ = false;
    // The scene holds pickers of a newer version: writing ours would
    // destroy them, so this scene is never written.
    if (newer_ || (!dirty_ && !force))
        return false;
    dirty_ = false;
    bool wrote = false;
    // Images first, so the data never names an entry the scene lacks. A
    // page whose picture could not be read keeps its key, and so whatever
    // the scene still holds under it.
    QSet<QString> used;
    for (const picker_page* page : std::as_const(pages_)) {
        if (page->background_key().isEmpty())
            continue;
        used.insert(page->background_key());
        if (!page->background().isNull() && !sceneImages_.contains(page->background_key())) {
            write_image(page);
            wrote = true;
        }
    }
    const QSet<QString> stale = sceneImages_ - used;
    for (const QString& key : stale) {
        remove_image(key);
        wrote = true;
    }
    const QByteArray text = encoded();
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
    if (text != sceneText_) {
        QString command;
        command.reserve(text.size() + 64);
        command += QLatin1String("fileInfo \"") + scene_keys::picker_data + QLatin1String("\" \"");
        command += QLatin1String(text.constData(), text.size());
        command += QLatin1String("\"; file -modified 1;");
        picker_host::instance().run_mel_now(command);
        sceneText_ = text;
        wrote = true;
    }
    return wrote;
}

void picker_book::adopt(const QByteArray& text, const QSet<QString>& images)
{
    sceneText_ = text;
    sceneImages_ = images;
    flushQueued_ = false;
    dirty_ = false;
}

QList<png_picture> picker_book::scene_pictures(const picker_page* except, const QString& except_key) const
{
    QList<png_picture> pictures;
    for (const picker_page* page : pages_) {
        if (page != except && !page->background().isNull()
            && (except_key.isEmpty() || page->background_key() != except_key))
            pictures.append(page->background());
        pictures += button_pictures(page->buttons());
    }
    return pictures;
}

QStringList picker_book::load_scene_pictures(const std::function<QByteArray(const QString&)>& entry)
{
    QStringList lost;
    QStringList keys;
    for (const picker_page* page : std::as_const(pages_))
        if (is_background_key(page->background_key()) && !keys.contains(page->background_key()))
            keys.append(page->background_key());
    // Read from the scene, so nothing here is a change to write back.
    quiet still(this);
    for (const QString& key : keys) {
        QList<picker_page*> under;
        png_picture shown;
        for (picker_page* page : std::as_const(pages_)) {
            if (page->background_key() == key) {
                under.append(page);
                if (shown.isNull())
                    shown = page->background();
            }
        }
        const QString what = QString("the picture %1 of the tab \"%2\"").arg(image_entry(key), under[0]->name());
        // One entry's text at a time: it is gone before the next is asked for.
        QByteArray text = entry(image_entry(key));
        if (!shown.isNull()) {
            // Older data carried the picture itself. The entry is the scene's
            // own only when it holds the same bytes; else the next write
            // puts them there.
            const QByteArray stored = QByteArray::fromBase64(text);
            if (stored.size() == shown.png().size() + 4 && stored.startsWith(QByteArray("\0\0\0\1", 4)) &&
                stored.endsWith(shown.png()))
                sceneImages_.insert(key);
            else
                sceneImages_.remove(key);
            for (picker_page* page : std::as_const(under))
                set_stored_background(page, key, shown);
            continue;
        }
        if (text.isEmpty()) {
            sceneImages_.remove(key);
            lost << what + " is missing from the scene: the tab is shown without it and keeps its key";
            continue;
        }
        sceneImages_.insert(key);
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
        for (picker_page* page : std::as_const(under))
            set_stored_background(page, key, picture);
    }
    return lost;
}

// The key is one the picker made (place_background refuses any other), so
// it is digits only and safe inside the command text.
void picker_book::write_image(const picker_page* page)
{
    if (!page || !is_background_key(page->background_key()) || page->background().isNull())
        return;
    QString command;
    {
        const QByteArray text = encode_image(page->background());
        command.reserve(text.size() + 64);
        command += QLatin1String("fileInfo \"") + image_entry(page->background_key()) + QLatin1String("\" \"");
        command += QLatin1String(text.constData(), text.size());
        command += QLatin1String("\"; file -modified 1;");
    }
    picker_host::instance().run_mel_now(command);
    sceneImages_.insert(page->background_key());
}

void picker_book::remove_image(const QString& key)
{
    sceneImages_.remove(key);
    if (!is_background_key(key))
        return;
    picker_host::instance().run_mel_now(
        QString("fileInfo -remove \"%1\"; file -modified 1;").arg(image_entry(key)));
}

void picker_book::set_background_image(const QString& key, const png_picture& picture)
{
    if (!is_background_key(key))
        return;
    for (picker_page* page : std::as_const(pages_)) {
        if (page->background_key() == key && page->background() != picture) {
            // The entry is written again, so the scene holds what the pages show.
            sceneImages_.remove(key);
            page->set_background(key, picture);
        }
    }
}

bool picker_book::place_background(picker_page* page, const QString& key, const png_picture& picture)
{
    if (!page)
        return false;
    if (picture.isNull() || !is_background_key(key)) {
        page->set_background(QString(), png_picture());
        return true;
    }
    if (!within_scene_budget(scene_pictures(page) << picture))
        return false;
    // Pages share a key only for the same picture; a key the scene already
    // holds under another picture would keep the old picture there.
    auto taken = [&](const QString& k) {
        bool shared_same = false;
        for (const picker_page* other : std::as_const(pages_)) {
            if (other == page || other->background_key() != k)
                continue;
            if (other->background() != picture) // the key's one entry holds one picture's bytes
                return true;
            shared_same = true;
        }
        return !shared_same && !quiet_ && sceneImages_.contains(k);
    };
    auto in_use = [&](const QString& k) {
        for (const picker_page* other : std::as_const(pages_))
            if (other != page && other->background_key() == k)
                return true;
        return sceneImages_.contains(k);
    };
    QString chosen = key;
    if (taken(chosen)) {
        qint64 n = picture.key();
        do
            chosen = QString::number(n++);
        while (in_use(chosen));
    }
    page->set_background(chosen, picture);
    return true;
}

// ----- Streams

void picker_book::stream_to(QDataStream& out) const
{
    write_window_stream(out, pages(), current_);
}

bool picker_book::stream_from(QDataStream& in)
{
    damage_.clear();
    refusal_.clear();
    tooNew_ = false;
    window_contents contents;
    if (!read_window_stream(in, contents)) {
        // Data this picker cannot read is never written over.
        if (contents.too_new || contents.unknown) {
            tooNew_ = true;
            refusal_ = (contents.too_new ? too_new : unknown_format).arg(contents.version);
        }
        return false;
    }
    quiet still(this);
    clear();
    int declared = 0, read = 0, refused = 0;
    for (window_tab& tab : contents.tabs) {
        picker_page* page = append(tab.text);
        // A page without its picture keeps the key: the picture is fetched
        // from the scene entry of that key (load_scene_pictures).
        if (tab.background.isNull() && is_background_key(tab.key))
            page->set_background(tab.key, png_picture());
        else
            place_background(page, tab.key, tab.background);
        page->insert_all(std::move(tab.buttons));
        // Data written before pages kept patterns leaves the user's default.
        if (!tab.mirror_patterns.isEmpty())
            page->set_mirror_patterns(tab.mirror_patterns);
        // The scene holds the page as it is; only a file's copy can be behind.
        page->mark_saved();
        declared += tab.declared;
        read += tab.buttons.size();
        // A refused picture under a key is looked for in the scene entry
        // next, and reported there if it is not found.
        refused += tab.image_refused && !is_background_key(tab.key);
    }
    if (contents.current >= 0 && contents.current < pages_.size())
        set_current(contents.current);
    if (contents.damaged || refused) {
        QStringList lost;
        if (contents.tabs.size() < contents.declared_tabs)
            lost << QString("%1 of %2 tabs").arg(contents.tabs.size()).arg(contents.declared_tabs);
        if (read < declared)
            lost << QString("%1 of %2 buttons").arg(read).arg(declared);
        if (refused)
            lost << QString("%1 background image%2 refused").arg(refused).arg(refused > 1 ? "s" : "");
        if (contents.patterns_damaged)
            lost << "the side patterns (the tabs mirror by the default ones)";
        if (lost.isEmpty())
            lost << QString("%1 tabs and %2 buttons").arg(contents.tabs.size()).arg(read);
        damage_ = lost.join(", ");
    }
    return true;
}
