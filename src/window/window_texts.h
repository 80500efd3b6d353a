// Names and messages of the window, each kept in one place.
#pragma once

#include "model/picker_host.h"

#include <QLatin1String>
#include <QString>

namespace texts {
const char* const command_name = picker_host::command;
const char* const version = "2.0.1";
// The About box shows the hour of this release's build as its build number.
const char* const build_time = "19:42:50";

// Appended to the command name: the host lists its namespaces and hands them over.
const char* const bind_tail = "\"bind\" `picker_ListNamespaces`;";
const char* const rebind_tail = "\"rebind\" `picker_ListNamespaces`;";

const QString close_tab_question = QStringLiteral("Do you want to save the changes to the picker \"%1\"?");
const QString close_tab_no_file = QStringLiteral("It has never been saved to a picker file.");
const QString close_tab_file = QStringLiteral("Its file \"%1\" does not hold them.");
// After a tab's name while its picker has changes no file holds.
const QString modified_mark = QStringLiteral("*");
const QString tab_without_file = QStringLiteral("Not saved to a picker file");
const QString tab_modified_tip = QStringLiteral("Changed since it was last saved");
const QString tab_namespace_tip = QStringLiteral("Drives the namespace %1");
const QString replace_question = QStringLiteral("\"%1\" already exists.\n\nDo you want to replace it?");
const QString saved_picker = QStringLiteral("Saved the picker \"%1\" to %2.");
const QString open_failed =
    QStringLiteral("Could not open the file \"%1\".\n\nPlease check the file permissions and try again.");
const QString save_failed = QStringLiteral(
    "Could not open the file \"%1\" for writing.\n\nPlease check that this file is not locked and "
    "that you have the proper permissions and try again.");
const QString over_budget = QStringLiteral("Could not open the file \"%1\": %2.");
const QString not_a_picker =
    QStringLiteral("Could not open the file \"%1\": %2.\n\nIt is not a picker file.");
// One warning for a file that opened with losses; the parts are joined.
const QString damaged_title = QStringLiteral("Damaged Picker");
const QString damaged_buttons = QStringLiteral("%1 is damaged: %2 of %3 buttons were read.");
const QString damaged_no_buttons = QStringLiteral("%1 is damaged: no buttons could be read.");
const QString image_not_loaded =
    QStringLiteral("The background image of %1 was not loaded: it is over the size limit (%2 x %3 "
                   "pixels) or cannot be decoded.");
const QString image_key_refused =
    QStringLiteral("%1 names its background with a key the picker never makes, so the picture was left out.");
const QString patterns_unreadable =
    QStringLiteral("The side patterns of %1 could not be read; the picker mirrors by your default ones.");
const QString tab_unbound = QStringLiteral("The tab is not tied to the file, so Save asks for a new name.");
const QString save_write_failed =
    QStringLiteral("Could not save the file \"%1\": %2.\n\nThe previous file is unchanged.");
} // namespace texts
