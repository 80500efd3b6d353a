// MEL's commands for the undo queue (undo, redo, undoInfo, flushUndo) and
// scriptJob, which runs a script whenever an event fires.
#include "host_private.h"

#include <algorithm>

namespace sandbox {

namespace {

using mel::value;
using args_t = QVector<value>;

[[noreturn]] void fail(const char* command, const QString& message)
{
    throw mel::command_failed{QString("%1: %2").arg(command, message)};
}

struct flag_rule {
    const char* long_name;
    const char* short_name;
    bool takes_value; // outside query mode
};

const flag_rule undo_info_flags[] = {
    {"openChunk", "ock", false},        {"closeChunk", "cck", false},
    {"chunkName", "cn", true},          {"undoName", "un", true},
    {"redoName", "rn", true},           {"state", "st", true},
    {"stateWithoutFlush", "swf", true}, {"length", "l", true},
    {"infinity", "in", true},           {"undoQueueEmpty", "uqe", false},
    {"redoQueueEmpty", "rqe", false},
};

const flag_rule script_job_flags[] = {
    {"event", "e", true}, {"attributeChange", "ac", true}, {"kill", "k", true},
    {"killAll", "ka", false}, {"exists", "ex", true}, {"force", "f", false},
};

template <size_t n>
const flag_rule* find_flag(const flag_rule (&table)[n], const QString& flag)
{
    for (const flag_rule& rule : table)
        if (flag == QLatin1String(rule.long_name) || flag == QLatin1String(rule.short_name))
            return &rule;
    return nullptr;
}

struct parsed {
    QHash<QString, value> flags; // by long name
    QVector<value> positional;
    bool query = false;
    bool has(const char* name) const { return flags.contains(QLatin1String(name)); }
    value get(const char* name) const { return flags.value(QLatin1String(name)); }
};

bool is_flag(const value& v)
{
    const QString s = v.type() == value::string ? v.to_string() : QString();
    return s.size() > 1 && s[0] == '-' && s[1].isLetter();
}

template <size_t n>
parsed parse(const char* command, const flag_rule (&table)[n], bool queryable, const args_t& args)
{
    parsed out;
    for (int i = 0; i < args.size(); ++i) {
        if (!is_flag(args[i])) {
            out.positional.append(args[i]);
            continue;
        }
        const QString flag = args[i].to_string().mid(1);
        if (queryable && (flag == "q" || flag == "query")) {
            out.query = true;
            continue;
        }
        const flag_rule* rule = find_flag(table, flag);
        if (!rule)
            fail(command, QString("Invalid flag '-%1'").arg(flag));
        value v = value::from_int(1);
        if (rule->takes_value && !out.query) {
            if (i + 1 >= args.size())
                fail(command, QString("Flag '-%1' must be passed a value.").arg(flag));
            v = args[++i];
        }
        out.flags.insert(QLatin1String(rule->long_name), v);
    }
    return out;
}

// MEL's boolean flag values: on/off, true/false, yes/no or a number.
bool to_bool(const value& v)
{
    if (v.type() != value::string)
        return v.to_float() != 0.0;
    const QString s = v.to_string().toLower();
    if (s == "on" || s == "true" || s == "yes")
        return true;
    if (s == "off" || s == "false" || s == "no")
        return false;
    return v.to_float() != 0.0;
}

value mel_undo(host& h, const args_t& args)
{
    if (!args.isEmpty())
        fail("undo", "Takes no arguments.");
    undo_queue& q = h.data().undo;
    if (q.command_open())
        fail("undo", "A command is running; it cannot be undone from inside.");
    QString name;
    if (!q.undo(h, &name))
        h.log(log_kind::warning, "There are no more commands to undo.");
    else
        h.log(log_kind::info, QString("// Undo: %1 //").arg(name));
    return value();
}

value mel_redo(host& h, const args_t& args)
{
    if (!args.isEmpty())
        fail("redo", "Takes no arguments.");
    undo_queue& q = h.data().undo;
    if (q.command_open())
        fail("redo", "A command is running; nothing can be redone from inside.");
    QString name;
    if (!q.redo(h, &name))
        h.log(log_kind::warning, "There are no more commands to redo.");
    else
        h.log(log_kind::info, QString("// Redo: %1 //").arg(name));
    return value();
}

value mel_flush_undo(host& h, const args_t& args)
{
    if (!args.isEmpty())
        fail("flushUndo", "Takes no arguments.");
    h.data().undo.flush();
    return value();
}

value mel_undo_info(host& h, const args_t& args)
{
    const parsed a = parse("undoInfo", undo_info_flags, true, args);
    if (!a.positional.isEmpty())
        fail("undoInfo", "Takes no objects.");
    undo_queue& q = h.data().undo;
    if (a.query) {
        if (a.flags.size() > 1)
            fail("undoInfo", "Only one flag can be queried at a time.");
        if (a.has("undoName"))
            return value::from_string(q.undo_name());
        if (a.has("redoName"))
            return value::from_string(q.redo_name());
        if (a.has("state") || a.has("stateWithoutFlush"))
            return value::from_int(q.enabled());
        if (a.has("length"))
            return value::from_int(q.length());
        if (a.has("infinity"))
            return value::from_int(q.infinite());
        if (a.has("undoQueueEmpty"))
            return value::from_int(q.size() == 0);
        if (a.has("redoQueueEmpty"))
            return value::from_int(q.redo_size() == 0);
        if (a.flags.isEmpty())
            return value::from_int(q.size());
        fail("undoInfo", QString("-%1 cannot be queried.").arg(a.flags.keys().value(0)));
    }
    if (a.has("undoName") || a.has("redoName") || a.has("undoQueueEmpty") || a.has("redoQueueEmpty"))
        fail("undoInfo", "-undoName, -redoName, -undoQueueEmpty and -redoQueueEmpty are only queried.");
    if (a.has("openChunk") && a.has("closeChunk"))
        fail("undoInfo", "-openChunk and -closeChunk cannot be used together.");
    if (a.has("chunkName") && !a.has("openChunk"))
        fail("undoInfo", "-chunkName names a chunk as it is opened: use it with -openChunk.");
    if (a.has("openChunk"))
        q.open_chunk(a.get("chunkName").to_string());
    if (a.has("closeChunk") && !q.close_chunk())
        h.log(log_kind::warning, "undoInfo: there is no open chunk to close.");
    if (a.has("length")) {
        const int n = a.get("length").to_int();
        if (n < 0)
            fail("undoInfo", "-length must not be negative.");
        q.set_length(n);
    }
    if (a.has("infinity"))
        q.set_infinite(to_bool(a.get("infinity")));
    if (a.has("state"))
        q.set_enabled(to_bool(a.get("state")));
    if (a.has("stateWithoutFlush"))
        q.set_enabled(to_bool(a.get("stateWithoutFlush")), false);
    return value();
}

// ----- Script jobs

void run_job(void* data)
{
    // The script may kill its own job: keep what is needed first.
    const QString script = static_cast<script_job*>(data)->script;
    host::instance().execute(script);
}

value mel_script_job(host& h, const args_t& args)
{
    const parsed a = parse("scriptJob", script_job_flags, false, args);
    auto& jobs = h.data().jobs.jobs;
    auto find = [&](int number) {
        return std::find_if(jobs.begin(), jobs.end(), [number](const auto& j) { return j->number == number; });
    };
    if (a.has("kill")) {
        const int number = a.get("kill").to_int();
        auto it = find(number);
        if (it == jobs.end())
            fail("scriptJob", QString("Job number %1 does not exist.").arg(number));
        if ((*it)->callback)
            h.remove_callback((*it)->callback);
        jobs.erase(it);
        return value();
    }
    if (a.has("killAll")) {
        kill_script_jobs(h);
        return value();
    }
    if (a.has("exists"))
        return value::from_int(find(a.get("exists").to_int()) != jobs.end());
    for (const char* flag : {"event", "attributeChange"}) {
        if (!a.has(flag))
            continue;
        // Each takes two values, what to watch and the script (from Python,
        // one list of both).
        QStringList pair = a.get(flag).to_strings();
        if (pair.size() == 1 && a.positional.size() == 1)
            pair << a.positional[0].to_string();
        else if (!a.positional.isEmpty())
            pair.clear();
        const bool attribute = qstrcmp(flag, "attributeChange") == 0;
        if (pair.size() != 2)
            fail("scriptJob", attribute ? "-attributeChange needs an attribute and a script."
                                        : "-event needs an event name and a script.");
        auto job = std::make_unique<script_job>();
        job->number = h.data().jobs.next;
        job->script = pair[1];
        job->callback = 0;
        if (attribute) {
            QString error;
            if (!h.data().scene.find_attribute(pair[0], nullptr, nullptr, &error))
                fail("scriptJob", error);
            job->plug = pair[0];
        } else {
            if (!h.is_known_event(pair[0]))
                fail("scriptJob", QString("Unknown event: %1").arg(pair[0]));
            job->callback = h.add_callback(pair[0], run_job, job.get());
        }
        ++h.data().jobs.next;
        const int number = job->number;
        jobs.push_back(std::move(job));
        return value::from_int(number);
    }
    fail("scriptJob", "No operation given: use -event, -attributeChange, -kill, -killAll or -exists.");
}

struct command {
    const char* name;
    value (*run)(host&, const args_t&);
};

const command commands[] = {
    {"undo", mel_undo},
    {"redo", mel_redo},
    {"flushUndo", mel_flush_undo},
    {"undoInfo", mel_undo_info},
    {"scriptJob", mel_script_job},
};

} // namespace

void install_undo_commands(host& h, mel::interpreter& interp)
{
    for (const command& c : commands) {
        auto run = c.run;
        interp.register_command(c.name, [&h, run](mel::interpreter&, const args_t& args) { return run(h, args); });
    }
}

int undo_flag_takes_value(const QString& command, const QString& flag)
{
    const flag_rule* rule = nullptr;
    if (command == "undoInfo")
        rule = find_flag(undo_info_flags, flag);
    else if (command == "scriptJob")
        rule = find_flag(script_job_flags, flag);
    if (!rule)
        return -1;
    return rule->takes_value ? 1 : 0;
}

void kill_script_jobs(host& h)
{
    auto& jobs = h.data().jobs.jobs;
    for (const auto& job : jobs)
        if (job->callback)
            h.remove_callback(job->callback);
    jobs.clear();
}

void notify_attribute_change(host& h, const QString& full_plug)
{
    const scene_state& scene = h.data().scene;
    for (const auto& job : h.data().jobs.jobs) {
        QString watched;
        if (job->plug.isEmpty() || job->pending || !scene.find_attribute(job->plug, nullptr, &watched, nullptr) ||
            watched != full_plug)
            continue;
        job->pending = true;
        // Maya runs an attribute's job once at the next idle moment, however
        // often the value changed meanwhile; a job killed before then is gone.
        const int number = job->number;
        idle_item item{job->script, false, false};
        item.action = [&h, number] {
            auto& jobs = h.data().jobs.jobs;
            for (const auto& j : jobs) {
                if (j->number == number) {
                    j->pending = false;
                    const QString script = j->script; // it may kill its own job
                    h.execute(script);
                    return;
                }
            }
        };
        h.data().idle.push(item);
        if (h.on_idle_queued && !h.data().idle.draining())
            h.on_idle_queued();
    }
}

void kill_orphaned_attribute_jobs(host& h)
{
    auto& jobs = h.data().jobs.jobs;
    const scene_state& scene = h.data().scene;
    jobs.erase(std::remove_if(jobs.begin(), jobs.end(),
                              [&scene](const std::unique_ptr<script_job>& j) {
                                  return !j->plug.isEmpty() && !scene.find_attribute(j->plug, nullptr, nullptr, nullptr);
                              }),
               jobs.end());
}

} // namespace sandbox
