// The pickers of a session: the tabs' pages in order, the one in front, and
// what the host scene holds of them. The window shows a book, one view a
// page; where Maya has no interface (batch mode) the book alone serves the
// scripts, so everything the scene keeps is decided here.
//
// The book keeps its own record of what the scene holds (the data text and
// the image entries it wrote or read), so that a change is written once,
// when the host is next idle, and an untouched scene is never marked
// modified.
#pragma once

#include "model/picker_page.h"
#include "model/png_picture.h"
#include "model/scene_writer.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QVector>

#include <functional>

class QDataStream;

class picker_book : public QObject {
    Q_OBJECT

public:
    explicit picker_book(QObject* parent = nullptr);
    ~picker_book() override;

    // ----- Pages
    int count() const { return pages_.size(); }
    picker_page* page(int index) const { return pages_.value(index); }
    int index_of(const picker_page* page) const;
    QVector<const picker_page*> pages() const;
    // The page in front; -1 and null when there is none.
    int current() const { return current_; }
    picker_page* current_page() const { return page(current_); }
    void set_current(int index);
    // A new empty page at the end, owned by the book, not yet current.
    picker_page* append(const QString& name);
    // Deletes the page; `removing` is announced when it has left the list,
    // while it is still whole.
    void remove(int index);
    void clear();
    // Keeps the order in line with a tab the animator dragged.
    void move(int from, int to);
    // Renames the page as files, the scene and scripts know it; false when
    // the name it keeps did not change.
    bool rename(int index, const QString& name);
    // The last page of the name, or -1.
    int find(const QString& name) const;
    // For the next scene: one empty page, nothing of the last scene touched
    // or pending.
    void reset();

    // ----- The host's selection
    // Takes the host's selection in: the pages light their buttons by it.
    // Unless it is the outcome of the picker's own request (`own`), a change
    // of it makes the lit buttons the targets of edits again. full_paths:
    // the host's full path of each name, when it gave them, so that buttons
    // bound by a longer path to the same object light too. Returns the
    // pages whose lit buttons changed.
    QVector<picker_page*> take_selection(const QStringList& names, bool own,
                                         const QStringList& full_paths = QStringList());

    // ----- Scene storage
    // A change the scene keeps: written when the host is next idle.
    void touch();
    // Writes now whatever differs from the scene; without force only when a
    // change is pending. True when anything was written.
    bool flush(bool force);
    bool change_pending() const { return dirty_; }
    // The scene holds `text` as its picker data and an image entry for each
    // of `images`; nothing is pending.
    void adopt(const QByteArray& text, const QSet<QString>& images = QSet<QString>());
    const QSet<QString>& scene_image_keys() const { return sceneImages_; }
    // The scene's picker data is of a newer version than this picker reads:
    // nothing is written to the scene until another scene is loaded.
    void keep_newer(bool on = true) { newer_ = on; }
    // The pages as the scene stores them.
    QByteArray encoded() const;
    // Gives every page with a key its picture from the scene's entry for that
    // key, `entry` returning an entry's text (empty when the scene has
    // none). Entries are asked for and decoded one at a time, within the
    // scene's pixel budget. Older data that carried its pictures is checked
    // against the entries instead. Returns what could not be loaded, one
    // line a picture; those pages keep their keys.
    QStringList load_scene_pictures(const std::function<QByteArray(const QString& entry)>& entry);
    // The pictures the pages show (a shared one once a page), but the
    // backgrounds of `except` and of the pages under `except_key`; the
    // buttons' pictures always count.
    QList<png_picture> scene_pictures(const picker_page* except = nullptr,
                                      const QString& except_key = QString()) const;
    // Gives the page a background under a key no other page uses for another
    // picture (a key that is not one the picker makes means no background).
    // False, with nothing changed, when the scene's pictures would exceed
    // their pixel budget.
    bool place_background(picker_page* page, const QString& key, const png_picture& picture);
    // Every page under the key shows this picture, and the scene gets it.
    void set_background_image(const QString& key, const png_picture& picture);

    // While quiet (rebuilding from the scene), nothing is a change to write back.
    class quiet {
    public:
        explicit quiet(picker_book* book) : book_(book) { ++book_->quiet_; }
        ~quiet() { --book_->quiet_; }
        quiet(const quiet&) = delete;
        quiet& operator=(const quiet&) = delete;

    private:
        picker_book* book_;
    };
    bool is_quiet() const { return quiet_ > 0; }
    // While closing, pages go without touching the scene: it keeps them.
    void set_closing() { closing_ = true; }

    // While held (a script's batch mode), each page's edits are announced
    // once, when the hold ends: the scene is written then. Pages made
    // meanwhile are held too.
    void hold_notices(bool on);
    bool notices_held() const { return held_; }

    // ----- Streams: every page, for the scene
    void stream_to(QDataStream& out) const;
    // Replaces the pages with those of the stream. False, with the pages
    // kept, when the data is of a version this picker does not read; then
    // too_new_version() says which (a warning for the user).
    bool stream_from(QDataStream& in);
    // What the last stream_from could not read ("3 of 5 buttons, ..."); empty
    // when it read everything.
    const QString& last_damage() const { return damage_; }
    bool last_too_new() const { return tooNew_; }
    // The warning for data the last stream_from would not read.
    const QString& last_refusal() const { return refusal_; }

signals:
    void added(int index);
    void removing(int index);
    void current_changed(int index);

private:
    void write_image(const picker_page* page);
    void remove_image(const QString& key);
    void page_changed(const page_notice& notice);

    QList<picker_page*> pages_;
    int current_ = -1;
    QByteArray sceneText_;
    QSet<QString> sceneImages_;
    // Keeps the pieces of the last scene text for the next write.
    mutable scene_writer writer_;
    QList<QPointer<picker_page>> heldPages_;
    QString damage_;
    QString refusal_;
    int quiet_ = 0;
    bool closing_ = false;
    bool dirty_ = false;
    bool flushQueued_ = false;
    bool newer_ = false;
    bool tooNew_ = false;
    bool held_ = false;
};
