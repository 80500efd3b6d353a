// The API classes that reach into the host: MGlobal, the selection lists,
// messages, MPxCommand and MQtUtil.
#include "host_private.h"

#include <maya/MEventMessage.h>
#include <maya/MSceneMessage.h>
#include <maya/MGlobal.h>
#include <maya/MItSelectionList.h>
#include <maya/MMessage.h>
#include <maya/MPxCommand.h>
#include <maya/MQtUtil.h>
#include <maya/MSelectionList.h>

#include <QWidget>

#include <utility>

using sandbox::host;
using sandbox::to_mstring;
using sandbox::to_qstring;

OPENMAYA_MAJOR_NAMESPACE_OPEN

namespace {
using item_list = std::vector<QString>;
item_list& items_of(void* p)
{
    return *static_cast<item_list*>(p);
}
const item_list& citems_of(const void* p)
{
    return *static_cast<const item_list*>(p);
}

sandbox::adjustment to_adjustment(MGlobal::ListAdjustment how)
{
    switch (how) {
    case MGlobal::kReplaceList: return sandbox::adjustment::replace;
    case MGlobal::kXORWithList: return sandbox::adjustment::toggle;
    case MGlobal::kAddToList: return sandbox::adjustment::add;
    case MGlobal::kRemoveFromList: return sandbox::adjustment::remove;
    case MGlobal::kAddToHeadOfList: return sandbox::adjustment::add_to_head;
    }
    return sandbox::adjustment::add;
}

// Lists hold full paths, as Maya's hold DAG paths; they are named by the
// shortest unique path when read, which the scene may have changed since.
QString shown(const QString& item)
{
    return host::instance().match(item).value(0, item);
}

sandbox::command_result* current_result()
{
    auto& results = host::instance().data().plugins.results;
    return results.isEmpty() ? nullptr : &results.last();
}
} // namespace

std::vector<QString>& MSandboxAccess::items(MSelectionList& list)
{
    return items_of(list.api_data_);
}
const std::vector<QString>& MSandboxAccess::items(const MSelectionList& list)
{
    return citems_of(list.api_data_);
}

// ----- MGlobal

MGlobal::MMayaState MGlobal::mayaState(MStatus* ReturnStatus)
{
    if (ReturnStatus)
        *ReturnStatus = MStatus::kSuccess;
    return host::instance().batch() ? kBatch : kInteractive;
}

MStatus MGlobal::executeCommandOnIdle(const MString& command, bool displayEnabled)
{
    host::instance().queue_idle(to_qstring(command), false, displayEnabled);
    return MStatus::kSuccess;
}

MStatus MGlobal::executePythonCommandOnIdle(const MString& command, bool displayEnabled)
{
    host::instance().queue_idle(to_qstring(command), true, displayEnabled);
    return MStatus::kSuccess;
}

// Without undoEnabled nothing the text runs goes on the undo queue.
MStatus MGlobal::executeCommand(const MString& command, bool displayEnabled, bool undoEnabled)
{
    host& h = host::instance();
    sandbox::undo_queue::suppress unrecorded(h.data().undo, !undoEnabled);
    return h.execute(to_qstring(command), nullptr, displayEnabled) ? MStatus::kSuccess : MStatus::kFailure;
}

MStatus MGlobal::executeCommand(const MString& command, MStringArray& result, bool displayEnabled,
                                bool undoEnabled)
{
    host& h = host::instance();
    sandbox::undo_queue::suppress unrecorded(h.data().undo, !undoEnabled);
    mel::value value;
    bool ok = h.execute(to_qstring(command), &value, displayEnabled);
    result = sandbox::to_mstringarray(value.is_none() ? QStringList() : value.to_strings());
    return ok ? MStatus::kSuccess : MStatus::kFailure;
}

void MGlobal::displayInfo(const MString& text)
{
    host::instance().log(sandbox::log_kind::info, to_qstring(text));
}

void MGlobal::displayWarning(const MString& text)
{
    host::instance().log(sandbox::log_kind::warning, to_qstring(text));
}

void MGlobal::displayError(const MString& text)
{
    host::instance().log(sandbox::log_kind::error, to_qstring(text));
}

MStatus MGlobal::getActiveSelectionList(MSelectionList& dest, bool)
{
    host& h = host::instance();
    if (h.take_fault(sandbox::fault::get_active_selection_list))
        return MStatus::kFailure;
    auto& items = MSandboxAccess::items(dest);
    items.clear();
    for (const QString& item : h.selection(true))
        items.push_back(item);
    return MStatus::kSuccess;
}

MStatus MGlobal::setActiveSelectionList(const MSelectionList& src, ListAdjustment how)
{
    QStringList items;
    for (const QString& item : MSandboxAccess::items(src))
        items.append(item);
    host::instance().set_selection(items, to_adjustment(how));
    return MStatus::kSuccess;
}

MStatus MGlobal::clearSelectionList()
{
    host::instance().clear_selection();
    return MStatus::kSuccess;
}

// As the select command: one undoable change while the queue records.
MStatus MGlobal::selectCommand(const MSelectionList& src, ListAdjustment how)
{
    host& h = host::instance();
    QStringList items;
    for (const QString& item : MSandboxAccess::items(src))
        items.append(item);
    static const char* const flags[] = {"-r", "-tgl", "-add", "-d", "-af"};
    QVector<mel::value> args{mel::value::from_string(flags[unsigned(how) < 5 ? how : kReplaceList])};
    for (const QString& item : items)
        args.append(mel::value::from_string(item));
    sandbox::record_scene_change(h, sandbox::command_text("select", args), [&] {
        h.set_selection(items, to_adjustment(how));
        return mel::value();
    });
    return MStatus::kSuccess;
}

MStatus MGlobal::selectByName(const MString& name, ListAdjustment how)
{
    host& h = host::instance();
    if (h.take_fault(sandbox::fault::select_by_name))
        return MStatus::kFailure;
    QStringList matches = h.match(to_qstring(name), nullptr, true);
    if (matches.isEmpty())
        return MStatus::kFailure;
    h.set_selection(matches, to_adjustment(how));
    return MStatus::kSuccess;
}

// ----- MSelectionList

MSelectionList::MSelectionList() : api_data_(new item_list) {}
MSelectionList::MSelectionList(const MSelectionList& other)
    : api_data_(new item_list(citems_of(other.api_data_)))
{
}
MSelectionList::~MSelectionList()
{
    delete static_cast<item_list*>(api_data_);
}
MSelectionList& MSelectionList::operator=(const MSelectionList& other)
{
    if (this != &other)
        items_of(api_data_) = citems_of(other.api_data_);
    return *this;
}
MStatus MSelectionList::clear()
{
    items_of(api_data_).clear();
    return MStatus::kSuccess;
}
bool MSelectionList::isEmpty(MStatus* ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MStatus::kSuccess;
    return citems_of(api_data_).empty();
}
unsigned int MSelectionList::length(MStatus* ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MStatus::kSuccess;
    return unsigned(citems_of(api_data_).size());
}
MStatus MSelectionList::add(const MString& matchString, const bool searchChildNamespacesToo)
{
    host& h = host::instance();
    QString pattern = to_qstring(matchString);
    QStringList matches = h.match(pattern, nullptr, true);
    if (matches.isEmpty() && searchChildNamespacesToo && !pattern.contains(':') && !pattern.contains('|')) {
        // Also look for the name in every namespace.
        for (const QString& ns : h.all_namespaces())
            matches += h.match(ns + ':' + pattern, nullptr, true);
    }
    if (matches.isEmpty())
        return MStatus::kInvalidParameter;
    auto& items = items_of(api_data_);
    for (const QString& m : std::as_const(matches))
        if (std::find(items.begin(), items.end(), m) == items.end())
            items.push_back(m);
    return MStatus::kSuccess;
}
MStatus MSelectionList::getSelectionStrings(MStringArray& array) const
{
    array.clear();
    for (const QString& item : citems_of(api_data_))
        array.append(to_mstring(shown(item)));
    return MStatus::kSuccess;
}

// ----- MItSelectionList

MItSelectionList::MItSelectionList(const MSelectionList& list, MFn::Type, MStatus* ReturnStatus)
    : list_(list), index_(0)
{
    if (ReturnStatus)
        *ReturnStatus = MStatus::kSuccess;
}
MItSelectionList::~MItSelectionList() = default;
bool MItSelectionList::isDone(MStatus* ReturnStatus)
{
    if (ReturnStatus)
        *ReturnStatus = MStatus::kSuccess;
    return index_ >= list_.length();
}
MStatus MItSelectionList::next()
{
    if (index_ < list_.length())
        ++index_;
    return MStatus::kSuccess;
}
MStatus MItSelectionList::reset()
{
    index_ = 0;
    return MStatus::kSuccess;
}
MStatus MItSelectionList::getStrings(MStringArray& array)
{
    const auto& items = MSandboxAccess::items(list_);
    if (index_ >= items.size())
        return MStatus::kFailure;
    array.clear();
    array.append(to_mstring(shown(items[index_])));
    return MStatus::kSuccess;
}

// ----- Messages

MStatus MMessage::removeCallback(MCallbackId id)
{
    host& h = host::instance();
    if (h.take_fault(sandbox::fault::remove_callback))
        return MStatus::kFailure;
    return h.remove_callback(id) ? MStatus::kSuccess : MStatus::kInvalidParameter;
}

MCallbackId MSceneMessage::addCallback(Message msg, MMessage::MBasicFunction func, void* clientData,
                                       MStatus* ReturnStatus)
{
    host& h = host::instance();
    QString event;
    switch (msg) {
    case kBeforeNew: event = sandbox::scene_events::before_new; break;
    case kAfterNew: event = sandbox::scene_events::after_new; break;
    case kBeforeOpen: event = sandbox::scene_events::before_open; break;
    case kAfterOpen: event = sandbox::scene_events::after_open; break;
    case kBeforeSave: event = sandbox::scene_events::before_save; break;
    case kAfterSave: event = sandbox::scene_events::after_save; break;
    default: break;
    }
    MStatus status = MStatus::kSuccess;
    MCallbackId id = 0;
    if (h.take_fault(sandbox::fault::add_event_callback))
        status = MStatus::kFailure;
    else if (event.isEmpty())
        status = MStatus::kNotImplemented;
    else if (!func)
        status = MStatus::kInvalidParameter;
    else
        id = h.add_callback(event, func, clientData);
    if (ReturnStatus)
        *ReturnStatus = status;
    return id;
}

MCallbackId MEventMessage::addEventCallback(const MString& event, MMessage::MBasicFunction func,
                                            void* clientData, MStatus* ReturnStatus)
{
    host& h = host::instance();
    MStatus status = MStatus::kSuccess;
    MCallbackId id = 0;
    if (h.take_fault(sandbox::fault::add_event_callback))
        status = MStatus::kFailure;
    else if (!h.is_known_event(to_qstring(event)))
        status = MStatus::kUnknownParameter;
    else if (!func)
        status = MStatus::kInvalidParameter;
    else
        id = h.add_callback(to_qstring(event), func, clientData);
    if (ReturnStatus)
        *ReturnStatus = status;
    return id;
}

// ----- MPxCommand

MPxCommand::MPxCommand() = default;
MPxCommand::~MPxCommand() = default;

MStatus MPxCommand::doIt(const MArgList&)
{
    return MStatus::kSuccess;
}

// Only called for a command that says it is undoable: one that does not
// say how to undo fails.
MStatus MPxCommand::undoIt()
{
    return MStatus::kFailure;
}

MStatus MPxCommand::redoIt()
{
    return MStatus::kFailure;
}

bool MPxCommand::isUndoable() const
{
    return false;
}

void MPxCommand::clearResult()
{
    if (auto* r = current_result())
        *r = sandbox::command_result();
}

void MPxCommand::setResult(const MString& value)
{
    if (auto* r = current_result()) {
        r->kind = sandbox::command_result::single;
        r->values = QStringList{to_qstring(value)};
    }
}

void MPxCommand::setResult(const MStringArray& value)
{
    if (auto* r = current_result()) {
        r->kind = sandbox::command_result::array;
        r->values = sandbox::to_qstringlist(value);
    }
}

void MPxCommand::appendToResult(const MString& value)
{
    if (auto* r = current_result()) {
        // Appending to a single result turns it into an array, as in Maya.
        r->kind = sandbox::command_result::array;
        r->values.append(to_qstring(value));
    }
}

void MPxCommand::appendToResult(const MStringArray& value)
{
    if (auto* r = current_result()) {
        r->kind = sandbox::command_result::array;
        r->values += sandbox::to_qstringlist(value);
    }
}

void MPxCommand::displayError(const MString& text, bool)
{
    MGlobal::displayError(text);
}

// ----- MQtUtil

QWidget* MQtUtil::mainWindow()
{
    return host::instance().main_window();
}

QWidget* MQtUtil::findControl(MString controlName, const QWidget* ancestor)
{
    QWidget* control = sandbox::find_control(sandbox::to_qstring(controlName));
    if (control && ancestor && !ancestor->isAncestorOf(control))
        return nullptr;
    return control;
}

QWidget* MQtUtil::findLayout(MString, const QWidget*)
{
    return nullptr; // the sandbox makes no MEL layouts
}

QString MQtUtil::toQString(const MString& s)
{
    return to_qstring(s);
}

MString MQtUtil::toMString(const QString& s)
{
    return to_mstring(s);
}

OPENMAYA_NAMESPACE_CLOSE
