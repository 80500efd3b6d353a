// One picker tab's data: its buttons, background, name and file path. Every
// change goes through the page, which announces what changed, so a canvas,
// the scene writer and the undo history all see the same edits whether a
// gesture, a script, an undo or a restore made them, with or without widgets.
#pragma once

#include "model/button_model.h"
#include "model/characters.h"
#include "model/png_picture.h"
#include "model/platform.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QVector>

// What an edit changed. Fields other than `state` and `path` are what
// files and the scene hold.
namespace page_field {
enum : unsigned {
    position = 1u << 0,   // centres
    size = 1u << 1,       // widths, heights, and so bounds
    look = 1u << 2,       // colours and labels
    binding = 1u << 3,    // names, scripts, kind and language
    layout = 1u << 4,     // buttons added, removed or reordered
    background = 1u << 5,
    name = 1u << 6,
    path = 1u << 7,
    state = 1u << 8,      // which buttons are lit (not stored)
    patterns = 1u << 9,   // the side patterns mirroring maps names by
    stored = position | size | look | binding | layout | background | name | patterns
};
}

// A notice: the fields that changed and, for changes of existing buttons,
// which buttons (by id). A layout change concerns the whole list.
struct page_notice {
    unsigned fields = 0;
    QVector<button_id> buttons;
};

class picker_page : public QObject {
    Q_OBJECT

public:
    explicit picker_page(QObject* parent = nullptr);

    // ----- Reading
    const QList<buttonRecord>& buttons() const { return buttons_; }
    int count() const { return buttons_.size(); }
    bool isEmpty() const { return buttons_.isEmpty(); }
    const buttonRecord& at(int row) const { return buttons_.at(row); }
    // Where the button with this id is now; -1 once it is gone.
    int row_of(button_id id) const;
    QVector<button_id> ids_of(const QVector<int>& rows) const;

    // ----- Buttons in and out. An id of 0 makes a new one; undo passes the
    // id a button had, so later steps of the history find it again.
    int insert(const buttonAttributes& a, int row = -1, button_id id = 0);
    int insert(buttonAttributes&& a, int row = -1, button_id id = 0);
    // Appends a reader's records, taking them over: one notice for all.
    void insert_all(QVector<buttonAttributes>&& list);
    void remove(int row);
    // Removes the buttons with these ids that are still here, last first.
    void remove_ids(const QVector<button_id>& ids);
    void clear();
    // The attributes of every button, in list order, as streams write them.
    QList<buttonAttributes> attributes() const;

    // ----- Fields of one button
    void move(int row, const QPoint& centre);
    // Both sides at least 1; the legacy size follows the width.
    void resize(int row, int width, int height);
    // As given (an edit may set 0).
    void set_width(int row, int width);
    void set_height(int row, int height);
    void set_color(int row, quint32 color);
    void set_picture(int row, const png_picture& picture);
    void set_label_color(int row, quint32 color);
    void set_label(int row, const QString& label);
    void set_names(int row, const QStringList& names);
    // Everything at once, the sides kept at least 1.
    void set_attributes(int row, const buttonAttributes& a);

    // ----- Lit state: not stored, not announced (the canvas compares what
    // it painted). Unless quiet, names are added to or dropped from the
    // selection list that buttonRecord reports to.
    void select(int row, bool quiet)
    {
        ++revision_;
        buttons_[row].select(quiet);
    }
    void unselect(int row, bool quiet)
    {
        ++revision_;
        buttons_[row].unselect(quiet);
    }
    // The state alone, names untouched: a command button shown pressed.
    void set_state(int row, qint16 state)
    {
        ++revision_;
        buttons_[row].selected = state;
    }
    // A marquee's pass: every button `meets` accepts is selected, or with
    // additive only added; without, a fully selected one is unselected. True
    // when any changed.
    template <class Meets>
    bool select_where(bool additive, Meets meets);
    // Attribute buttons show their plugs' values as the host holds them:
    // every button bound to a plug here takes its value (NaN: unknown).
    // Not stored; true when any shown value changed.
    bool set_attribute_values(const QHash<QString, double>& values);
    // The plugs of every attribute button, each once.
    QStringList attribute_plugs() const;
    // True when any button's state changed.
    bool conform_to_selection();
    bool conform_to_selected();
    void clear_selected(bool quiet);
    bool any_selected() const;
    // Marks the selection buttons holding a name of `names` (objects the
    // scene lacks) as missing, and the others not; true when any changed.
    bool set_missing(const QSet<QString>& names);

    // ----- Targets: the buttons edits act on. After a selection made in the
    // picker, the buttons picked there, lit or not (a button whose objects
    // are missing is picked though it cannot light); buttons lit only
    // because they share objects with a picked one are not targets. After a
    // selection made in the host, the fully lit buttons. Not stored.
    // Picking, with exactly these buttons picked.
    void set_picks(const QVector<button_id>& ids);
    // Picking, with this button added to or dropped from the picks.
    void pick(button_id id, bool on);
    // Back to the lit buttons as targets.
    void drop_picks();
    // What is picked, to be put back as it was.
    struct picks_state {
        QSet<button_id> ids;
        bool picking = false;
    };
    picks_state picks() const { return {picks_, picking_}; }
    void restore_picks(const picks_state& state);
    bool is_target(int row) const;
    // In list order.
    QVector<int> target_rows() const;
    // The fully lit buttons, in list order, whatever was picked.
    QVector<int> lit_rows() const;
    QVector<button_id> target_ids() const { return ids_of(target_rows()); }
    bool any_target() const;

    // Counts every change to the buttons and the page, lit state included:
    // a reader that saw this number has seen every change up to it.
    quint64 revision() const { return revision_; }

    // ----- The page itself
    const QString& background_key() const { return backgroundKey_; }
    const png_picture& background() const { return background_; }
    void set_background(const QString& key, const png_picture& picture);
    const QString& name() const { return name_; }
    void set_name(const QString& name);
    const QString& path() const { return path_; }
    void set_path(const QString& path);
    // The side patterns mirroring maps this picker's names by: the user's
    // default when the page is made, then its own (files and the scene keep
    // them). Pairs that side_patterns::check refuses are not taken.
    const QStringList& mirror_patterns() const { return mirrorPatterns_; }
    bool set_mirror_patterns(const QStringList& pairs);
    // Whether anything a picker file stores changed since the page was last
    // marked saved (made, opened, saved or restored as it was stored).
    bool modified() const { return storedEdits_ != savedEdits_; }
    void mark_saved();

    // The namespaces the selection buttons' names live in, each with its
    // parents, sorted case-insensitively.
    QStringList namespaces() const;
    // Which namespace the picker drives, worked out again only after its
    // names change: following the host's selection asks it of every tab.
    const page_binding& binding() const;
    // The node of each of its names, without a DAG path.
    const QSet<QString>& binding_nodes() const;
    // Changes whenever the names may have; unique across pages.
    quint64 binding_stamp() const { return bindingStamp_; }

    // While held, notices are merged and sent once when the last hold ends:
    // a command that touches many buttons, or a script in batch mode, makes
    // one notice.
    class hold {
    public:
        explicit hold(picker_page* page);
        ~hold();
        hold(const hold&) = delete;
        hold& operator=(const hold&) = delete;

    private:
        picker_page* page_;
    };
    void hold_notices();
    void release_notices();

    // Recomputes a button's label picture and bounds from its attributes.
    static void lay_out(buttonRecord& r);

signals:
    // Sent as each change is made, held or not: a canvas repaints on it.
    void touched();
    void changed(const page_notice& notice);
    // Sent when modified() turns.
    void modified_changed(bool modified);

private:
    // Lays the button out again after a change of these fields.
    void laid_out(int row, unsigned fields);
    // Inserts without a notice.
    int place(buttonAttributes&& a, int row, button_id id);
    void notify(unsigned fields, int row);
    void notify_layout();
    void index_dirty() { indexValid_ = false; }

    QList<buttonRecord> buttons_;
    QString backgroundKey_;
    png_picture background_;
    QString name_;
    QString path_;
    QStringList mirrorPatterns_;

    mutable QHash<button_id, int> index_;
    mutable bool indexValid_ = true;
    mutable page_binding binding_;
    mutable bool bindingValid_ = false;
    mutable QSet<QString> nodes_;
    mutable bool nodesValid_ = false;
    quint64 bindingStamp_;

    QSet<button_id> picks_;
    bool picking_ = false;

    int holds_ = 0;
    page_notice pending_;
    quint64 revision_ = 0;
    quint64 storedEdits_ = 0;
    quint64 savedEdits_ = 0;
};

template <class Meets>
bool picker_page::select_where(bool additive, Meets meets)
{
    ++revision_;
    bool changed = false;
    const int count = buttons_.size();
    for (int i = 0; i < count; ++i) {
        buttonRecord& r = buttons_[i];
        // Each record is a heap block of its own, of which selecting reads
        // more than the bounds: fetching a few ahead hides the wait.
        if (i + 8 < count) {
            const char* ahead = reinterpret_cast<const char*>(&buttons_.at(i + 8));
            prefetch(ahead);
            prefetch(ahead + 64);
            prefetch(ahead + 128);
        }
        if (!meets(r))
            continue;
        if (additive) {
            if (r.selected != 1) {
                r.select(false);
                changed = true;
            }
        } else if (r.selected == 1) {
            r.unselect(false);
            changed = true;
        } else {
            r.select(false);
            changed = true;
        }
    }
    return changed;
}
