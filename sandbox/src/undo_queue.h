// Maya's undo queue: steps that `undo` takes back and `redo` makes again.
// A step holds the changes of one command, or of every undoable command run
// inside an open chunk or inside an undoable plug-in command.
#pragma once

#include <QString>

#include <memory>
#include <vector>

namespace sandbox {

class host;

// One change a step can take back and make again, in the order recorded.
class undo_action {
public:
    virtual ~undo_action() = default;
    virtual void undo(host& h) = 0;
    virtual void redo(host& h) = 0;
};

class undo_queue {
public:
    // Maya's default: a finite queue of 50 steps.
    static constexpr int default_length = 50;

    ~undo_queue();

    // A fresh session: empty, no open chunks, Maya's default settings.
    void reset();

    // ----- What undoInfo sets and asks
    bool enabled() const { return enabled_; }
    // Turning it off flushes the queue unless told not to.
    void set_enabled(bool on, bool flush = true);
    int length() const { return length_; }
    void set_length(int steps);         // trims the oldest steps
    bool infinite() const { return infinite_; }
    void set_infinite(bool on);
    int size() const { return int(done_); }  // steps that can be undone
    int redo_size() const { return int(steps_.size() - done_); }
    QString undo_name() const;
    QString redo_name() const;
    // Drops every step (and the plug-in commands they keep); open chunks
    // and commands stay open.
    void flush();

    // ----- Recording
    // True when an undoable command run now goes on the queue.
    bool recording() const { return enabled_ && suppressed_ == 0 && !replaying_; }
    // Records one change of the command `name`: into the innermost open
    // group, or as a step of its own.
    void add(const QString& name, std::unique_ptr<undo_action> action);
    // Groups: what is recorded between open and close is one step. A chunk
    // takes its name from `name` or else from its first command; a command
    // group (an undoable plug-in command) from the command itself.
    void open_chunk(const QString& name);
    bool close_chunk(); // false when no chunk is open
    int open_chunks() const;
    void open_command(const QString& name);
    void close_command();
    // Commands run while suppressed are never recorded
    // (MGlobal::executeCommand with undoEnabled off).
    struct suppress {
        explicit suppress(undo_queue& q, bool on = true) : q_(q), on_(on) { q_.suppressed_ += on_; }
        ~suppress() { q_.suppressed_ -= on_; }
        suppress(const suppress&) = delete;
        suppress& operator=(const suppress&) = delete;
        undo_queue& q_;
        int on_;
    };

    // ----- Undo and redo; false when there is nothing to take back (or to
    // make again). *name gets the step's name. Open chunks are closed first.
    bool undo(host& h, QString* name);
    bool redo(host& h, QString* name);
    bool command_open() const;

private:
    struct step {
        QString name;
        std::vector<std::unique_ptr<undo_action>> actions;
    };
    struct group {
        bool chunk;
        step recorded;
    };

    void commit(step s);
    void close_group();
    void trim();
    bool replay(host& h, bool back, QString* name);

    // Oldest first; those past done_ are for redo. Shared, so that a step
    // being replayed outlives a flush that one of its changes causes.
    std::vector<std::shared_ptr<step>> steps_;
    size_t done_ = 0;
    std::vector<group> groups_; // innermost last
    bool enabled_ = true;
    int length_ = default_length;
    bool infinite_ = false;
    int suppressed_ = 0;
    bool replaying_ = false;
};

} // namespace sandbox
