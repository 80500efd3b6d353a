#include "undo_queue.h"

#include "host_private.h"

namespace sandbox {

undo_queue::~undo_queue() = default;

void undo_queue::reset()
{
    flush();
    groups_.clear();
    enabled_ = true;
    length_ = default_length;
    infinite_ = false;
}

void undo_queue::set_enabled(bool on, bool flush_steps)
{
    if (!on && flush_steps)
        flush();
    enabled_ = on;
}

void undo_queue::set_length(int steps)
{
    length_ = qMax(0, steps);
    trim();
}

void undo_queue::set_infinite(bool on)
{
    infinite_ = on;
    trim();
}

QString undo_queue::undo_name() const
{
    return done_ > 0 ? steps_[done_ - 1]->name : QString();
}

QString undo_queue::redo_name() const
{
    return done_ < steps_.size() ? steps_[done_]->name : QString();
}

void undo_queue::flush()
{
    steps_.clear();
    done_ = 0;
}

void undo_queue::add(const QString& name, std::unique_ptr<undo_action> action)
{
    if (!recording())
        return;
    if (groups_.empty()) {
        step s;
        s.name = name;
        s.actions.push_back(std::move(action));
        commit(std::move(s));
        return;
    }
    step& into = groups_.back().recorded;
    if (into.name.isEmpty())
        into.name = name;
    into.actions.push_back(std::move(action));
}

void undo_queue::open_chunk(const QString& name)
{
    group g{true, {}};
    g.recorded.name = name;
    groups_.push_back(std::move(g));
}

bool undo_queue::close_chunk()
{
    // A chunk opened outside a running command is not closed from inside it.
    if (groups_.empty() || !groups_.back().chunk)
        return false;
    close_group();
    return true;
}

int undo_queue::open_chunks() const
{
    int n = 0;
    for (const group& g : groups_)
        n += g.chunk;
    return n;
}

void undo_queue::open_command(const QString& name)
{
    group g{false, {}};
    g.recorded.name = name;
    groups_.push_back(std::move(g));
}

void undo_queue::close_command()
{
    // Chunks the command left open end with it.
    while (!groups_.empty() && groups_.back().chunk)
        close_group();
    if (!groups_.empty())
        close_group();
}

bool undo_queue::command_open() const
{
    for (const group& g : groups_)
        if (!g.chunk)
            return true;
    return false;
}

void undo_queue::close_group()
{
    step s = std::move(groups_.back().recorded);
    groups_.pop_back();
    if (s.actions.empty())
        return;
    if (groups_.empty()) {
        commit(std::move(s));
        return;
    }
    step& into = groups_.back().recorded;
    if (into.name.isEmpty())
        into.name = s.name;
    for (auto& action : s.actions)
        into.actions.push_back(std::move(action));
}

void undo_queue::commit(step s)
{
    if (s.actions.empty())
        return;
    // A new step ends what could be redone.
    steps_.erase(steps_.begin() + long(done_), steps_.end());
    steps_.push_back(std::make_shared<step>(std::move(s)));
    done_ = steps_.size();
    trim();
}

void undo_queue::trim()
{
    if (infinite_ || steps_.size() <= size_t(length_))
        return;
    const size_t drop = steps_.size() - size_t(length_);
    steps_.erase(steps_.begin(), steps_.begin() + long(drop));
    done_ = done_ > drop ? done_ - drop : 0;
}

bool undo_queue::undo(host& h, QString* name)
{
    return replay(h, true, name);
}

bool undo_queue::redo(host& h, QString* name)
{
    return replay(h, false, name);
}

bool undo_queue::replay(host& h, bool back, QString* name)
{
    if (replaying_)
        return false;
    // What an open chunk holds so far is one step already.
    while (!groups_.empty() && groups_.back().chunk)
        close_group();
    if (back ? done_ == 0 : done_ >= steps_.size())
        return false;
    const size_t at = back ? done_ - 1 : done_;
    std::shared_ptr<step> s = steps_[at];
    if (name)
        *name = s->name;
    struct replaying {
        explicit replaying(bool& flag) : flag_(flag) { flag_ = true; }
        ~replaying() { flag_ = false; }
        bool& flag_;
    } guard(replaying_);
    if (back) {
        for (auto it = s->actions.rbegin(); it != s->actions.rend(); ++it)
            (*it)->undo(h);
    } else {
        for (auto& action : s->actions)
            action->redo(h);
    }
    // A change may have flushed the queue meanwhile (a new scene).
    if (at < steps_.size() && steps_[at] == s)
        done_ = back ? at : at + 1;
    return true;
}

// ----- Scene changes

namespace {

// What an undoable built-in changed: the scene before and after it. Undo
// and redo put the nodes, namespaces, selection and attributes back; the
// file info, the file name and the units are the file's and stay.
class scene_change : public undo_action {
public:
    scene_change(scene_state before, scene_state after)
        : before_(std::move(before)), after_(std::move(after))
    {
    }
    void undo(host& h) override { restore(h, before_); }
    void redo(host& h) override { restore(h, after_); }

private:
    static void restore(host& h, const scene_state& to)
    {
        scene_state& scene = h.data().scene;
        const scene_state kept = scene;
        const bool content_changed = scene.nodes() != to.nodes() || scene.namespaces() != to.namespaces();
        scene = to;
        const auto stale = scene.file_info_table();
        for (const auto& entry : stale)
            scene.remove_file_info(entry.first);
        for (const auto& entry : kept.file_info_table())
            scene.set_file_info(entry.first, entry.second);
        scene.file_name = kept.file_name;
        scene.units = kept.units;
        scene.loading = kept.loading;
        scene.modified = kept.modified || content_changed;
        if (scene.selection() != kept.selection())
            h.fire("SelectionChanged");
        for (const QString& plug : scene.changed_plugs(kept))
            notify_attribute_change(h, plug);
        kill_orphaned_attribute_jobs(h);
    }

    scene_state before_;
    scene_state after_;
};

} // namespace

mel::value record_scene_change(host& h, const QString& name, const std::function<mel::value()>& run)
{
    auto& d = h.data();
    if (!d.undo.recording() || d.scene.loading)
        return run();
    scene_state before = d.scene;
    mel::value result = run(); // a failing command records nothing
    d.undo.add(name, std::make_unique<scene_change>(std::move(before), d.scene));
    return result;
}

QString command_text(const QString& name, const QVector<mel::value>& args)
{
    QStringList parts{name};
    for (const mel::value& arg : args) {
        const QStringList items = arg.is_array() ? arg.to_strings() : QStringList{arg.to_string()};
        for (const QString& item : items) {
            bool plain = !item.isEmpty();
            for (QChar c : item)
                plain = plain && !c.isSpace() && c != '"' && c != ';' && c != '\\';
            parts << (plain ? item : mel_quote(item));
        }
    }
    return parts.join(' ');
}

} // namespace sandbox
