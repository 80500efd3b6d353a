// Maya's own MEL commands, for the flags that scene files, the plug-in and a
// user at the console use.
#include "host_private.h"

#include <QFileInfo>
#include <QSet>

#include <initializer_list>
#include <utility>

namespace sandbox {

namespace {

struct flag_rule {
    const char* long_name;
    const char* short_name;
    bool takes_value;      // in create and edit mode
    bool value_in_query;   // still takes its value under -q
};

struct parsed_args {
    QHash<QString, QVector<mel::value>> flags; // by long name
    QVector<mel::value> positional;
    bool query = false;

    bool has(const char* name) const { return flags.contains(QLatin1String(name)); }
    mel::value value(const char* name) const
    {
        return flags.value(QLatin1String(name)).value(0);
    }
    // Positional arguments with arrays spread out, as Maya takes object lists.
    QStringList names() const
    {
        QStringList out;
        for (const mel::value& v : positional)
            out += v.is_array() ? v.to_strings() : QStringList{v.to_string()};
        return out;
    }
};

[[noreturn]] void fail(const QString& command, const QString& message)
{
    throw mel::command_failed{QString("%1: %2").arg(command, message)};
}

bool is_flag(const mel::value& v)
{
    if (v.type() != mel::value::string)
        return false;
    QString s = v.to_string();
    return s.size() > 1 && s[0] == '-' && s[1].isLetter();
}

struct command_syntax {
    const char* command;
    bool has_query;
    std::initializer_list<flag_rule> flags;
};

// The flags each built-in command accepts, also what maya.cmds consults to
// tell a flag that takes a value from one that is only present or absent.
constexpr command_syntax syntax_table[] = {
    {"createNode", false,
     {{"name", "n", true, false},
      {"parent", "p", true, false},
      {"skipSelect", "ss", false, false},
      {"shared", "s", false, false}}},
    {"delete", false, {}},
    {"parent", false,
     {{"world", "w", false, false},
      {"relative", "r", false, false},
      {"absolute", "a", false, false}}},
    {"setAttr", false,
     {{"type", "typ", true, false}}},
    {"getAttr", false,
     {{"asString", "as", false, false}}},
    {"addAttr", false,
     {{"longName", "ln", true, false},
      {"shortName", "sn", true, false},
      {"attributeType", "at", true, false},
      {"dataType", "dt", true, false},
      {"minValue", "min", true, false},
      {"maxValue", "max", true, false},
      {"hasMinValue", "hnv", true, false},
      {"hasMaxValue", "hxv", true, false},
      {"defaultValue", "dv", true, false},
      {"enumName", "en", true, false},
      {"keyable", "k", true, false},
      {"cachedInternally", "ci", true, false}}},
    {"deleteAttr", false,
     {{"attribute", "at", true, false}}},
    {"attributeQuery", false,
     {{"node", "n", true, false},
      {"exists", "ex", false, false},
      {"minExists", "mne", false, false},
      {"maxExists", "mxe", false, false},
      {"keyable", "k", false, false},
      {"minimum", "min", false, false},
      {"maximum", "max", false, false},
      {"listDefault", "ld", false, false},
      {"attributeType", "at", false, false},
      {"listEnum", "le", false, false}}},
    {"namespace", true,
     {{"addNamespace", "add", true, false},
      {"parent", "p", true, false},
      {"setNamespace", "set", true, false},
      {"exists", "ex", false, false},
      {"removeNamespace", "rm", true, false},
      {"relativeNames", "rel", true, false}}},
    {"namespaceInfo", false,
     {{"listOnlyNamespaces", "lon", false, false},
      {"listNamespace", "ls", false, false},
      {"recurse", "r", false, false},
      {"currentNamespace", "cur", false, false},
      {"absoluteName", "an", false, false},
      {"isRootNamespace", "ir", false, false}}},
    {"ls", false,
     {{"selection", "sl", false, false},
      {"type", "typ", true, false},
      {"long", "l", false, false},
      {"recursive", "r", true, false}}},
    {"select", false,
     {{"replace", "r", false, false},
      {"add", "add", false, false},
      {"addFirst", "af", false, false},
      {"deselect", "d", false, false},
      {"toggle", "tgl", false, false},
      {"clear", "cl", false, false},
      {"noExpand", "ne", false, false},
      {"all", "all", false, false}}},
    {"fileInfo", true,
     {{"remove", "rm", true, false}}},
    {"file", true,
     {{"new", "new", false, false},
      {"open", "o", false, false},
      {"force", "f", false, false},
      {"save", "s", false, false},
      {"rename", "rn", true, false},
      {"type", "typ", true, false},
      {"sceneName", "sn", false, false},
      {"modified", "mf", true, false},
      {"prompt", "pmt", true, false},
      {"options", "op", true, false},
      {"ignoreVersion", "iv", false, false},
      {"reference", "r", false, false},
      {"namespace", "ns", true, false}}},
    {"evalDeferred", false,
     {{"lowestPriority", "lp", false, false},
      {"lowPriority", "low", false, false},
      {"evaluateNext", "en", false, false}}},
    {"currentUnit", true,
     {{"linear", "l", true, false},
      {"angle", "a", true, false},
      {"time", "t", true, false},
      {"fullName", "f", false, false},
      {"updateAnimation", "ua", true, false}}},
    {"loadPlugin", false,
     {{"quiet", "qt", false, false}}},
    {"unloadPlugin", false,
     {{"force", "f", false, false}}},
    {"pluginInfo", true,
     {{"loaded", "l", false, false}}},
};

// Null for a command the table does not list: it takes no flags.
const command_syntax* find_syntax(const QString& command)
{
    for (const command_syntax& syntax : syntax_table)
        if (command == QLatin1String(syntax.command))
            return &syntax;
    return nullptr;
}

const flag_rule* find_flag(const command_syntax& syntax, const QString& flag)
{
    for (const flag_rule& rule : syntax.flags)
        if (flag == QLatin1String(rule.long_name) || flag == QLatin1String(rule.short_name))
            return &rule;
    return nullptr;
}

parsed_args parse(const char* command, const QVector<mel::value>& args)
{
    static const command_syntax none{"", false, {}};
    const command_syntax* found = find_syntax(QLatin1String(command));
    const command_syntax& syntax = found ? *found : none;
    parsed_args out;
    for (int i = 0; i < args.size(); ++i) {
        if (!is_flag(args[i])) {
            out.positional.append(args[i]);
            continue;
        }
        QString flag = args[i].to_string().mid(1);
        if (syntax.has_query && (flag == "q" || flag == "query")) {
            out.query = true;
            continue;
        }
        const flag_rule* rule = find_flag(syntax, flag);
        if (!rule)
            fail(command, QString("Invalid flag '-%1'").arg(flag));
        QVector<mel::value>& values = out.flags[QLatin1String(rule->long_name)];
        if (rule->takes_value && (!out.query || rule->value_in_query)) {
            if (i + 1 >= args.size())
                fail(command, QString("Flag '-%1' must be passed a value.").arg(flag));
            values.append(args[++i]);
        }
    }
    return out;
}

QString namespace_display(const QString& full, bool absolute)
{
    if (full.isEmpty())
        return ":";
    return absolute ? ':' + full : full;
}

void collect_namespaces(const host& h, const QString& parent, bool recurse, QStringList* out)
{
    for (const QString& child : h.child_namespaces(parent)) {
        out->append(child);
        if (recurse)
            collect_namespaces(h, child, true, out);
    }
}

} // namespace

int builtin_flag_takes_value(const QString& command, const QString& flag)
{
    if (undo_flag_takes_value(command, flag) >= 0)
        return undo_flag_takes_value(command, flag);
    if (workspace_flag_takes_value(command, flag) >= 0)
        return workspace_flag_takes_value(command, flag);
    const command_syntax* syntax = find_syntax(command);
    const flag_rule* rule = syntax ? find_flag(*syntax, flag) : nullptr;
    if (!rule)
        return -1;
    return rule->takes_value ? 1 : 0;
}

namespace {

using mel::value;
using args_t = QVector<value>;

// ----- Scene nodes

value mel_create_node(host& h, const args_t& args)
{
    parsed_args a = parse("createNode", args);
    if (a.positional.size() != 1)
        fail("createNode", "Exactly one node type is required.");
    QString error;
    const QString parent = a.has("parent") ? a.value("parent").to_string() : QString();
    QString name = h.create_node(a.positional[0].to_string(), a.value("name").to_string(), &error, parent);
    if (name.isEmpty())
        fail("createNode", error);
    if (!h.data().scene.loading && !a.has("skipSelect"))
        h.set_selection({name}, adjustment::replace);
    return value::from_string(name);
}

// Each name must mean one node; checked before anything moves.
QStringList long_names_of(host& h, const char* command, const QStringList& names)
{
    QStringList out;
    for (const QString& name : names) {
        QString error;
        const QString full = h.long_name(name, &error);
        if (full.isEmpty())
            fail(command, error);
        out.append(full);
    }
    return out;
}

value mel_parent(host& h, const args_t& args)
{
    parsed_args a = parse("parent", args);
    QStringList names = a.names();
    if (names.isEmpty())
        names = h.selection(true);
    const bool world = a.has("world");
    if (names.size() < (world ? 1 : 2))
        fail("parent", "Not enough objects or values.");
    long_names_of(h, "parent", names);
    const QString parent = world ? QString() : names.takeLast();
    QStringList out;
    for (const QString& child : std::as_const(names)) {
        QString error, now;
        if (!h.parent_node(child, parent, &error, &now))
            fail("parent", error);
        out.append(now);
    }
    return value::from_strings(out);
}

value mel_delete(host& h, const args_t& args)
{
    parsed_args a = parse("delete", args);
    QStringList targets;
    for (const QString& name : a.names()) {
        QString error;
        QStringList found = h.match(name, &error, true);
        if (found.isEmpty())
            fail("delete", error.isEmpty() ? QString("No object matches name: %1").arg(name) : error);
        targets += found;
    }
    if (a.names().isEmpty())
        targets = h.selection(true);
    for (const QString& t : std::as_const(targets)) {
        const QString node = t.section('.', 0, 0);
        // Gone already with an ancestor deleted before it.
        if (!h.node_exists(node))
            continue;
        QString error;
        if (!h.delete_node(node, &error))
            fail("delete", error);
    }
    return value();
}

value mel_obj_exists(host& h, const args_t& args)
{
    if (args.size() != 1)
        fail("objExists", "Exactly one object name is required.");
    return value::from_int(h.list(args[0].to_string()).isEmpty() ? 0 : 1);
}

value mel_ls(host& h, const args_t& args)
{
    parsed_args a = parse("ls", args);
    const bool long_names = a.has("long");
    // Full paths while choosing: they name each node once.
    QStringList out;
    const QStringList pool = a.has("selection") ? h.selection(true) : h.nodes(true);
    QStringList patterns = a.names();
    bool recursive = a.has("recursive") && a.value("recursive").to_int() != 0;
    if (patterns.isEmpty()) {
        out = pool;
    } else {
        const QSet<QString> in(pool.begin(), pool.end());
        QSet<QString> seen;
        for (const QString& p : patterns) {
            QStringList found = h.list(p, true);
            if (recursive && !p.contains(':') && !p.contains('|'))
                for (const QString& ns : h.all_namespaces())
                    found += h.list(ns + ':' + p, true);
            for (const QString& f : std::as_const(found))
                if (in.contains(f) && !seen.contains(f)) {
                    seen.insert(f);
                    out.append(f);
                }
        }
    }
    if (a.has("type")) {
        QString type = a.value("type").to_string();
        QStringList typed;
        for (const QString& item : std::as_const(out))
            if (h.node_type(item.section('.', 0, 0)) == type)
                typed.append(item);
        out = typed;
    }
    if (!long_names)
        for (QString& item : out)
            item = h.match(item).value(0, item);
    return value::from_strings(out);
}

// ----- Attributes

// MEL's boolean words, as setAttr takes them for a bool attribute.
bool boolean_word(const QString& text, bool* on)
{
    const QString s = text.toLower();
    if (s == "on" || s == "true" || s == "yes")
        *on = true;
    else if (s == "off" || s == "false" || s == "no")
        *on = false;
    else
        return false;
    return true;
}

// A flag's value as a number; a word that is not one is refused rather than
// read as 0 the way MEL's lenient conversion would.
double number_flag(const char* command, const parsed_args& a, const char* flag)
{
    const value v = a.value(flag);
    if (v.is_array())
        fail(command, QString("-%1 takes a number.").arg(flag));
    if (v.type() != value::string)
        return v.to_float();
    bool ok = false;
    const double d = v.to_string().toDouble(&ok);
    if (!ok)
        fail(command, QString("-%1 takes a number, not \"%2\".").arg(flag, v.to_string()));
    return d;
}

bool bool_flag(const parsed_args& a, const char* flag)
{
    const value v = a.value(flag);
    bool on = false;
    if (v.type() == value::string && boolean_word(v.to_string(), &on))
        return on;
    return v.to_float() != 0.0;
}

value mel_set_attr(host& h, const args_t& args)
{
    parsed_args a = parse("setAttr", args);
    if (a.positional.size() < 2)
        fail("setAttr", "An attribute and a value are required.");
    const QString plug = a.positional[0].to_string();
    scene_state::attribute attr;
    const bool single = h.data().scene.find_attribute(plug, &attr, nullptr, nullptr);
    if (a.has("type"))
        fail("setAttr", QString("-type \"%1\" is for data attributes; %2 is numeric.")
                            .arg(a.value("type").to_string(), plug));
    QVector<double> values;
    for (int i = 1; i < a.positional.size(); ++i) {
        const value& v = a.positional[i];
        if (v.is_array())
            fail("setAttr", "Values must be numbers.");
        bool on = false;
        if (single && attr.type == "bool" && v.type() == value::string && boolean_word(v.to_string(), &on)) {
            values.append(on ? 1 : 0);
            continue;
        }
        bool ok = false;
        values.append(v.to_string().toDouble(&ok));
        if (!ok)
            fail("setAttr", QString("\"%1\" is not a number.").arg(v.to_string()));
    }
    QString error;
    if (!h.set_attribute(plug, values, &error))
        fail("setAttr", error);
    return value();
}

value mel_get_attr(host& h, const args_t& args)
{
    parsed_args a = parse("getAttr", args);
    if (a.positional.size() != 1)
        fail("getAttr", "Exactly one attribute is required.");
    const QString plug = a.positional[0].to_string();
    QVector<double> values;
    QString error;
    if (!h.get_attribute(plug, &values, &error))
        fail("getAttr", error);
    scene_state::attribute attr;
    if (!h.data().scene.find_attribute(plug, &attr, nullptr, nullptr)) // a compound
        return value::from_floats(values);
    const double v = values.value(0);
    if (a.has("asString")) {
        if (attr.type != "enum")
            fail("getAttr", QString("-asString is only valid for enum attributes: %1 is %2.").arg(plug, attr.type));
        for (const auto& f : std::as_const(attr.fields))
            if (f.second == v)
                return value::from_string(f.first);
        return value::from_string(QString());
    }
    if (attr.type == "bool")
        return value::from_bool(v != 0);
    if (attr.type == "long" || attr.type == "short" || attr.type == "enum")
        return value::from_int(int(v));
    return value::from_float(v);
}

// A command that changes several nodes works on a copy of the scene and
// keeps it only when every change succeeded, so that a failure changes
// nothing (and so records nothing to undo). One change is all or nothing
// already, and a scene file's many need no copy each.
template <typename F>
void all_or_nothing(host& h, int changes, F&& change)
{
    scene_state& scene = h.data().scene;
    if (changes == 1) {
        change(scene);
    } else {
        scene_state copy = scene;
        change(copy);
        scene = std::move(copy);
    }
    kill_orphaned_attribute_jobs(h);
}

value mel_add_attr(host& h, const args_t& args)
{
    parsed_args a = parse("addAttr", args);
    if (a.has("dataType"))
        fail("addAttr", "Only numeric attributes (-attributeType) are supported.");
    scene_state::attribute attr;
    attr.long_name = a.value("longName").to_string();
    attr.short_name = a.value("shortName").to_string();
    attr.type = a.has("attributeType") ? a.value("attributeType").to_string() : QString();
    attr.has_min = a.has("minValue") && (!a.has("hasMinValue") || bool_flag(a, "hasMinValue"));
    attr.has_max = a.has("maxValue") && (!a.has("hasMaxValue") || bool_flag(a, "hasMaxValue"));
    if (a.has("minValue"))
        attr.min = number_flag("addAttr", a, "minValue");
    if (a.has("maxValue"))
        attr.max = number_flag("addAttr", a, "maxValue");
    if (a.has("defaultValue"))
        attr.fallback = number_flag("addAttr", a, "defaultValue");
    attr.keyable = a.has("keyable") && bool_flag(a, "keyable");
    QString error;
    if (a.has("enumName") && !scene_state::parse_enum(a.value("enumName").to_string(), &attr.fields, &error))
        fail("addAttr", error);
    QStringList targets = a.names();
    if (targets.isEmpty()) {
        // A scene file's addAttr follows its createNode; elsewhere the
        // selection is what it adds to.
        targets = h.data().scene.loading ? QStringList{QString()} : h.selection(true);
        if (targets.isEmpty())
            fail("addAttr", "No object was given and nothing is selected.");
    }
    all_or_nothing(h, targets.size(), [&](scene_state& scene) {
        for (const QString& node : std::as_const(targets))
            if (!scene.add_attribute(node, attr, &error))
                fail("addAttr", error);
    });
    return value();
}

value mel_delete_attr(host& h, const args_t& args)
{
    parsed_args a = parse("deleteAttr", args);
    QStringList plugs;
    if (a.has("attribute")) {
        QStringList nodes = a.names();
        if (nodes.isEmpty())
            nodes = h.selection(true);
        for (const QString& node : std::as_const(nodes))
            plugs << node + '.' + a.value("attribute").to_string();
    } else {
        plugs = a.names();
    }
    if (plugs.isEmpty())
        fail("deleteAttr", "No attribute was given.");
    all_or_nothing(h, plugs.size(), [&](scene_state& scene) {
        for (const QString& plug : std::as_const(plugs)) {
            const int dot = plug.indexOf('.');
            QString error;
            if (dot <= 0)
                fail("deleteAttr", QString("No object matches name: %1").arg(plug));
            if (!scene.delete_attribute(plug.left(dot), plug.mid(dot + 1), &error))
                fail("deleteAttr", error);
        }
    });
    return value();
}

value mel_attribute_query(host& h, const args_t& args)
{
    parsed_args a = parse("attributeQuery", args);
    if (!a.has("node"))
        fail("attributeQuery", "-node is required.");
    if (a.positional.size() != 1)
        fail("attributeQuery", "Exactly one attribute name is required.");
    const QString node = a.value("node").to_string();
    const QString name = a.positional[0].to_string();
    QString error;
    if (h.long_name(node, &error).isEmpty())
        fail("attributeQuery", error);
    scene_state::attribute attr;
    const bool exists = h.data().scene.find_attribute(node + '.' + name, &attr, nullptr, nullptr);
    // Boolean flags give the "and" of all given; the others go one at a time.
    static const char* const booleans[] = {"exists", "minExists", "maxExists", "keyable"};
    int boolean_count = 0;
    bool all = true;
    for (const char* flag : booleans) {
        if (!a.has(flag))
            continue;
        ++boolean_count;
        double unused = 0;
        const QString f = QLatin1String(flag);
        all = all && exists &&
              (f == "exists" || (f == "minExists" && attr.lowest(&unused)) ||
               (f == "maxExists" && attr.highest(&unused)) || (f == "keyable" && attr.keyable));
    }
    const int others = a.flags.size() - 1 - boolean_count;
    if (others > 1 || (others == 1 && boolean_count > 0))
        fail("attributeQuery", "Two flags may be given together only when both answer true or false.");
    if (boolean_count > 0 && (exists || a.has("exists")))
        return value::from_int(all ? 1 : 0);
    if (!exists)
        fail("attributeQuery", QString("No attribute named '%1' on %2.").arg(name, node));
    if (a.has("attributeType"))
        return value::from_string(attr.type);
    if (a.has("listDefault"))
        return value::from_floats({attr.fallback});
    if (a.has("listEnum")) {
        if (attr.type != "enum")
            fail("attributeQuery", QString("%1 is not an enum attribute.").arg(name));
        return value::from_strings({attr.enum_text()});
    }
    double bound = 0;
    if (a.has("minimum")) {
        if (!attr.lowest(&bound))
            fail("attributeQuery", QString("%1 has no minimum.").arg(name));
        return value::from_floats({bound});
    }
    if (a.has("maximum")) {
        if (!attr.highest(&bound))
            fail("attributeQuery", QString("%1 has no maximum.").arg(name));
        return value::from_floats({bound});
    }
    fail("attributeQuery", "Nothing to query: use -exists, -attributeType, -minimum, -maximum, -listDefault, "
                           "-listEnum, -minExists, -maxExists or -keyable.");
}

// ----- Namespaces

value mel_namespace(host& h, const args_t& args)
{
    parsed_args a = parse("namespace", args);
    QString error;
    if (a.has("addNamespace")) {
        QString full;
        QString parent = a.has("parent") ? a.value("parent").to_string() : QString();
        if (!h.add_namespace(a.value("addNamespace").to_string(), parent, &full, &error))
            fail("namespace", error);
        return value::from_string(full);
    }
    if (a.has("setNamespace")) {
        QString name = a.value("setNamespace").to_string();
        if (!h.set_current_namespace(name))
            fail("namespace", QString("Namespace \"%1\" does not exist.").arg(name));
        return value::from_string(namespace_display(h.current_namespace(), true));
    }
    if (a.has("removeNamespace")) {
        if (!h.remove_namespace(a.value("removeNamespace").to_string(), &error))
            fail("namespace", error);
        return value();
    }
    if (a.has("exists")) {
        if (a.positional.size() != 1)
            fail("namespace", "-exists needs one namespace name.");
        return value::from_int(h.namespace_exists(h.resolve_namespace(a.positional[0].to_string())));
    }
    if (a.has("relativeNames"))
        return value();
    fail("namespace", "No operation given: use -add, -set, -exists or -rm.");
}

value mel_namespace_info(host& h, const args_t& args)
{
    parsed_args a = parse("namespaceInfo", args);
    bool absolute = a.has("absoluteName");
    QString target = h.current_namespace();
    if (!a.positional.isEmpty()) {
        target = h.resolve_namespace(a.positional[0].to_string());
        if (!h.namespace_exists(target))
            fail("namespaceInfo",
                 QString("Namespace \"%1\" does not exist.").arg(a.positional[0].to_string()));
    }
    if (a.has("currentNamespace"))
        return value::from_string(namespace_display(h.current_namespace(), absolute));
    if (a.has("isRootNamespace"))
        return value::from_int(target.isEmpty());
    QStringList out;
    if (a.has("listOnlyNamespaces") || a.has("listNamespace")) {
        collect_namespaces(h, target, a.has("recurse"), &out);
        if (a.has("listNamespace")) {
            for (const QString& node : h.nodes()) {
                // A path's namespace is its last part's.
                const QString leaf = node.section('|', -1);
                int colon = leaf.lastIndexOf(':');
                QString owner = colon < 0 ? QString() : leaf.left(colon);
                if (owner == target || (a.has("recurse") && owner.startsWith(target + ':')) ||
                    (a.has("recurse") && target.isEmpty()))
                    out.append(node);
            }
        }
    }
    if (absolute)
        for (QString& s : out)
            s.prepend(':');
    return value::from_strings(out);
}

// ----- Selection

value mel_select(host& h, const args_t& args)
{
    parsed_args a = parse("select", args);
    if (a.has("clear")) {
        h.clear_selection();
        return value();
    }
    QStringList items;
    if (a.has("all")) {
        items = h.nodes();
    } else {
        // Maya checks every name before it changes anything.
        for (const QString& name : a.names()) {
            QString error;
            QStringList found = h.match(name, &error, true);
            if (found.isEmpty())
                fail("select", error.isEmpty() ? QString("No object matches name: %1").arg(name) : error);
            items += found;
        }
    }
    adjustment how = adjustment::replace;
    if (a.has("add"))
        how = adjustment::add;
    else if (a.has("addFirst"))
        how = adjustment::add_to_head;
    else if (a.has("deselect"))
        how = adjustment::remove;
    else if (a.has("toggle"))
        how = adjustment::toggle;
    h.set_selection(items, how);
    return value();
}

// ----- File and file info

value mel_file_info(host& h, const args_t& args)
{
    parsed_args a = parse("fileInfo", args);
    // A referenced file's file info stays in that file.
    if (h.data().scene.reading_reference())
        return value();
    if (a.has("remove")) {
        h.remove_file_info(a.value("remove").to_string());
        return value();
    }
    if (a.query) {
        QStringList out;
        if (a.positional.isEmpty()) {
            const auto table = h.file_info_table();
            for (const auto& entry : table)
                out << entry.first << entry.second;
        } else {
            QString v;
            if (h.file_info(a.positional[0].to_string(), &v))
                out << v;
        }
        return value::from_strings(out);
    }
    if (a.positional.size() != 2)
        fail("fileInfo", "A key and a value are required.");
    h.set_file_info(a.positional[0].to_string(), a.positional[1].to_string());
    return value();
}

value mel_file(host& h, const args_t& args)
{
    parsed_args a = parse("file", args);
    QString error;
    if (a.query) {
        if (a.has("sceneName"))
            return value::from_string(h.scene_name());
        if (a.has("modified"))
            return value::from_int(h.modified() ? 1 : 0);
        fail("file", "Nothing to query: use -sceneName or -modified.");
    }
    if (a.has("modified")) {
        h.set_modified(a.value("modified").to_int() != 0);
        return value();
    }
    if (a.has("rename")) {
        h.set_scene_name(QFileInfo(a.value("rename").to_string()).absoluteFilePath());
        if (!a.has("save"))
            return value::from_string(h.scene_name());
    }
    bool force = a.has("force");
    if ((a.has("new") || a.has("open")) && !force && h.modified())
        fail("file", "Unsaved changes.");
    if (a.has("reference")) {
        if (a.positional.size() != 1)
            fail("file", "-reference needs one file name.");
        QString used;
        const QString path = a.positional[0].to_string();
        const QString ns = a.has("namespace") ? a.value("namespace").to_string() : QString();
        if (!h.reference_file(path, ns, &used, &error))
            fail("file", error);
        if (!h.data().scene.loading)
            h.set_modified(true);
        return value::from_string(path);
    }
    if (a.has("new")) {
        h.new_scene();
        return value::from_string(QString());
    }
    if (a.has("open")) {
        if (a.positional.size() != 1)
            fail("file", "-open needs one file name.");
        QString path = a.positional[0].to_string();
        if (!h.open_scene(path, &error))
            fail("file", error);
        return value::from_string(h.scene_name());
    }
    if (a.has("save")) {
        if (!h.save_scene(QString(), &error))
            fail("file", error);
        return value::from_string(h.scene_name());
    }
    fail("file", "No operation given: use -new, -open, -save, -rename or -modified.");
}

value mel_current_unit(host& h, const args_t& args)
{
    parsed_args a = parse("currentUnit", args);
    scene_units& units = h.data().scene.units;
    if (h.data().scene.reading_reference())
        return value(); // the scene's units are the scene's
    if (a.query) {
        if (a.has("angle"))
            return value::from_string(units.angle == "degree" ? "deg" : units.angle);
        if (a.has("time"))
            return value::from_string(units.time);
        return value::from_string(units.linear == "centimeter" ? "cm" : units.linear);
    }
    if (a.has("linear"))
        units.linear = a.value("linear").to_string();
    if (a.has("angle"))
        units.angle = a.value("angle").to_string();
    if (a.has("time"))
        units.time = a.value("time").to_string();
    return value();
}

// Scene files name the Maya they need; the sandbox stands in for any.
value mel_requires(host&, const args_t&)
{
    return value();
}

// ----- Plug-ins

value mel_load_plugin(host& h, const args_t& args)
{
    parsed_args a = parse("loadPlugin", args);
    if (a.positional.size() != 1)
        fail("loadPlugin", "Exactly one plug-in path is required.");
    QString name, error;
    if (!h.load_plugin(a.positional[0].to_string(), &name, &error))
        fail("loadPlugin", error);
    return value::from_strings({name});
}

// Only what scripts ask before loading a plug-in: whether it is loaded.
value mel_plugin_info(host& h, const args_t& args)
{
    parsed_args a = parse("pluginInfo", args);
    if (a.positional.size() != 1 || !a.query || !a.has("loaded"))
        fail("pluginInfo", "Only -query -loaded with one plug-in name is supported.");
    const QString name = QFileInfo(a.positional[0].to_string()).completeBaseName();
    return value::from_int(h.plugins().contains(name) ? 1 : 0);
}

value mel_unload_plugin(host& h, const args_t& args)
{
    parsed_args a = parse("unloadPlugin", args);
    if (a.positional.size() != 1)
        fail("unloadPlugin", "Exactly one plug-in name is required.");
    QString error;
    if (!h.unload_plugin(a.positional[0].to_string(), &error))
        fail("unloadPlugin", error);
    return value();
}

// ----- Scripts and the application

value mel_application_version(host&, const args_t&)
{
    return value::from_float(2022.0);
}

value mel_python(host& h, const args_t& args)
{
    if (args.size() != 1)
        fail("python", "Exactly one Python text is required.");
    // Opening a file must not run code that nobody asked for; the rest
    // of the file still loads.
    if (h.data().scene.loading) {
        h.log(log_kind::warning, "python: Python in a scene file is not run.");
        return value::from_string(QString());
    }
    value result;
    if (!h.execute_python(args[0].to_string(), &result))
        throw mel::command_failed{}; // the traceback is in the output
    return result.is_none() ? value::from_string(QString()) : result;
}

value mel_eval_deferred(host& h, const args_t& args)
{
    parsed_args a = parse("evalDeferred", args);
    if (a.positional.size() != 1)
        fail("evalDeferred", "Exactly one command text is required.");
    h.queue_idle(a.positional[0].to_string(), false, false);
    return value();
}

// What a batch session (mayapy, maya -batch) has to ask for: nothing else
// runs the texts queued for idle time there.
value mel_flush_idle_queue(host& h, const args_t& args)
{
    if (!args.isEmpty())
        fail("flushIdleQueue", "It takes no arguments.");
    h.drain_idle();
    return value();
}

struct builtin {
    const char* name;
    value (*run)(host&, const args_t&);
};

const builtin builtins[] = {
    {"createNode", mel_create_node},
    {"delete", mel_delete},
    {"parent", mel_parent},
    {"setAttr", mel_set_attr},
    {"getAttr", mel_get_attr},
    {"addAttr", mel_add_attr},
    {"deleteAttr", mel_delete_attr},
    {"attributeQuery", mel_attribute_query},
    {"objExists", mel_obj_exists},
    {"namespace", mel_namespace},
    {"namespaceInfo", mel_namespace_info},
    {"ls", mel_ls},
    {"select", mel_select},
    {"fileInfo", mel_file_info},
    {"file", mel_file},
    {"getApplicationVersionAsFloat", mel_application_version},
    {"python", mel_python},
    {"evalDeferred", mel_eval_deferred},
    {"flushIdleQueue", mel_flush_idle_queue},
    {"requires", mel_requires},
    {"currentUnit", mel_current_unit},
    {"loadPlugin", mel_load_plugin},
    {"pluginInfo", mel_plugin_info},
    {"unloadPlugin", mel_unload_plugin},
};

// The built-ins that change the scene: each call is a step on the undo queue.
const char* const undoable_builtins[] = {"createNode", "delete", "parent",    "select",
                                         "setAttr",    "addAttr", "deleteAttr"};

bool is_undoable(const char* name)
{
    for (const char* undoable : undoable_builtins)
        if (qstrcmp(name, undoable) == 0)
            return true;
    return false;
}

} // namespace

void install_builtin_commands(host& h, mel::interpreter& interp)
{
    for (const builtin& command : builtins) {
        auto run = command.run;
        if (is_undoable(command.name)) {
            const QString name = command.name;
            interp.register_command(name, [&h, run, name](mel::interpreter&, const args_t& args) {
                return record_scene_change(h, command_text(name, args), [&] { return run(h, args); });
            });
            continue;
        }
        interp.register_command(command.name,
                                [&h, run](mel::interpreter&, const args_t& args) { return run(h, args); });
    }
}

} // namespace sandbox
