// A small plug-in for the tests: it registers "quillEcho", whose directives
// show how arguments, results, host calls and callbacks reach a plug-in.
#include <maya/MArgList.h>
#include <maya/MEventMessage.h>
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MItSelectionList.h>
#include <maya/MMessage.h>
#include <maya/MPxCommand.h>
#include <maya/MSelectionList.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

MCallbackId selection_id = 0;
MCallbackId opened_id = 0;
std::vector<std::string> events;
std::vector<std::string> lifecycle; // what happened to undoable instances
// Set by "leak": unloading then leaves the command and every callback behind.
bool leak_at_unload = false;

void on_selection_changed(void*)
{
    events.push_back("SelectionChanged");
}

void on_scene_opened(void*)
{
    events.push_back("SceneOpened");
}

std::string format(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", v);
    return buffer;
}

class echo_cmd : public MPxCommand {
public:
    static void* creator() { return new echo_cmd; }
    ~echo_cmd() override
    {
        if (undoable_)
            lifecycle.push_back("deleted " + label_);
    }
    bool isUndoable() const override { return undoable_; }

    // "undoable_select" puts back the selection it replaced; "undoable_run"
    // leaves its undo to what it ran with undo enabled.
    MStatus undoIt() override
    {
        lifecycle.push_back("undoIt " + label_);
        return selects_ ? MGlobal::setActiveSelectionList(before_) : MStatus();
    }
    MStatus redoIt() override
    {
        lifecycle.push_back("redoIt " + label_);
        return selects_ ? MGlobal::setActiveSelectionList(after_) : MStatus();
    }

    MStatus doIt(const MArgList& args) override
    {
        MStatus status;
        unsigned n = args.length(&status);
        if (!status)
            return status;
        if (n == 0) {
            setResult(MString("ready"));
            return MStatus::kSuccess;
        }
        MString directive = args.asString(0, &status);
        if (!status)
            return status;

        if (directive == "echo") {
            // One result per argument: "s:text" for a string, "n:value" for a
            // number or boolean, "a<count>:items" for an array.
            clearResult();
            for (unsigned i = 1; i < n; ++i) {
                MString text;
                if (args.get(i, text)) {
                    appendToResult(MString("s:") + text);
                    continue;
                }
                double number = 0.0;
                if (args.get(i, number)) {
                    appendToResult(MString("n:") + format(number).c_str());
                    continue;
                }
                MStringArray items;
                unsigned index = i;
                if (!args.get(index, items))
                    return MStatus::kFailure;
                MString joined("a");
                joined += items.length();
                joined += ":";
                for (unsigned k = 0; k < items.length(); ++k) {
                    if (k)
                        joined += ",";
                    joined += items[k];
                }
                appendToResult(joined);
            }
            return MStatus::kSuccess;
        }
        if (directive == "probe") {
            // What each getter makes of each argument, "-" where it fails:
            // "string|int|double|bool|array".
            clearResult();
            for (unsigned i = 1; i < n; ++i) {
                MString text;
                int integer = 0;
                double number = 0.0;
                bool flag = false;
                MStringArray items;
                unsigned index = i;
                std::string row = args.get(i, text) ? text.asChar() : "-";
                row += "|" + (args.get(i, integer) ? std::to_string(integer) : "-");
                row += "|" + (args.get(i, number) ? format(number) : "-");
                row += "|" + (args.get(i, flag) ? std::string(flag ? "true" : "false") : "-");
                row += "|" + (args.get(index, items) ? std::to_string(items.length()) : "-");
                if (index != (row.back() == '-' ? i : i + 1))
                    return MStatus::kFailure; // only a taken array moves the index
                appendToResult(MString(row.c_str()));
            }
            return MStatus::kSuccess;
        }
        if (directive == "single") {
            setResult(args.asString(1));
            return MStatus::kSuccess;
        }
        if (directive == "fail") {
            displayError(MString("quillEcho - asked to fail"));
            return MStatus::kFailure;
        }
        if (directive == "selection") {
            MSelectionList list;
            status = MGlobal::getActiveSelectionList(list);
            if (!status)
                return status;
            clearResult();
            for (MItSelectionList it(list); !it.isDone(); it.next()) {
                MStringArray strings;
                it.getStrings(strings);
                appendToResult(strings);
            }
            return MStatus::kSuccess;
        }
        if (directive == "select") {
            // First name that exists replaces, the rest add.
            bool replaced = false;
            for (unsigned i = 1; i < n; ++i) {
                MString name = args.asString(i);
                MStatus s = MGlobal::selectByName(name, replaced ? MGlobal::kAddToList
                                                                 : MGlobal::kReplaceList);
                replaced = replaced || s;
            }
            return MStatus::kSuccess;
        }
        if (directive == "run") {
            MStringArray result;
            status = MGlobal::executeCommand(args.asString(1), result);
            setResult(result);
            return status;
        }
        if (directive == "undoable_select" || directive == "undoable_run") {
            undoable_ = true;
            label_ = args.asString(1).asChar();
            if (directive == "undoable_run")
                return MGlobal::executeCommand(args.asString(1), false, true);
            selects_ = true;
            MGlobal::getActiveSelectionList(before_);
            MSelectionList list;
            for (unsigned i = 1; i < n; ++i)
                list.add(args.asString(i));
            status = MGlobal::setActiveSelectionList(list);
            MGlobal::getActiveSelectionList(after_);
            return status;
        }
        if (directive == "select_command") {
            MSelectionList list;
            for (unsigned i = 1; i < n; ++i)
                list.add(args.asString(i));
            return MGlobal::selectCommand(list, MGlobal::kReplaceList);
        }
        if (directive == "lifecycle") {
            MStringArray out;
            for (const std::string& e : lifecycle)
                out.append(MString(e.c_str()));
            setResult(out);
            lifecycle.clear();
            return MStatus::kSuccess;
        }
        if (directive == "idle") {
            return MGlobal::executeCommandOnIdle(args.asString(1));
        }
        if (directive == "leak") {
            // A callback added from a command, never removed.
            MEventMessage::addEventCallback("SceneOpened", on_scene_opened, nullptr, &status);
            leak_at_unload = true;
            return status;
        }
        if (directive == "events") {
            MStringArray out;
            for (const std::string& e : events)
                out.append(MString(e.c_str()));
            setResult(out);
            events.clear();
            return MStatus::kSuccess;
        }
        MGlobal::displayError(MString("quillEcho - unknown directive: ") + directive);
        return MStatus::kFailure;
    }

private:
    bool undoable_ = false;
    bool selects_ = false;
    std::string label_;
    MSelectionList before_;
    MSelectionList after_;
};

} // namespace

MStatus initializePlugin(MObject obj)
{
    MStatus status;
    MFnPlugin plugin(obj, "Quillmarsh, Inc.", "1.0", "Any", &status);
    if (!status)
        return status;
    status = plugin.registerCommand("quillEcho", echo_cmd::creator);
    if (!status)
        return status;
    selection_id = MEventMessage::addEventCallback("SelectionChanged", on_selection_changed,
                                                   nullptr, &status);
    if (!status)
        return status;
    opened_id = MEventMessage::addEventCallback("SceneOpened", on_scene_opened, nullptr, &status);
    if (!status)
        return status;
    MGlobal::displayInfo(MString("quillEcho loaded from ") + plugin.loadPath());
    return MStatus::kSuccess;
}

MStatus uninitializePlugin(MObject obj)
{
    if (leak_at_unload) {
        leak_at_unload = false;
        events.clear();
        return MStatus::kSuccess;
    }
    MFnPlugin plugin(obj);
    MStatus status = plugin.deregisterCommand("quillEcho");
    if (!status)
        return status;
    MMessage::removeCallback(selection_id);
    MMessage::removeCallback(opened_id);
    events.clear();
    lifecycle.clear();
    return MStatus::kSuccess;
}
