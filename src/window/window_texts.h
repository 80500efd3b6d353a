// Names and messages of the window, each kept in one place.
#pragma once

#include <QLatin1String>
#include <QString>

namespace texts {
const char* const command_name = "QuillmarshPicker";
const char* const version = "2.0.1";
// The About box shows the hour of this release's build as its build number.
const char* const build_time = "19:42:50";

// Appended to the command name: the host lists its namespaces and hands them over.
const char* const bind_tail = "\"bind\" `picker_ListNamespaces`;";
const char* const rebind_tail = "\"rebind\" `picker_ListNamespaces`;";

const QString close_tab_question =
    QStringLiteral("Are you sure you want to close the tab \"%1\"?\n\nAll changes will be lost.");
const QString open_failed =
    QStringLiteral("Could not open the file \"%1\".\n\nPlease check the file permissions and try again.");
const QString save_failed = QStringLiteral(
    "Could not open the file \"%1\" for writing.\n\nPlease check that this file is not locked and "
    "that you have the proper permissions and try again.");
const QString too_new = QStringLiteral(
    "The scene file contains data\nin a format (%1) more recent than the version of the picker\n"
    "installed in this machine can understand.  Please update\nthe picker, and try again.\n");
} // namespace texts
