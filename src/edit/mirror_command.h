// Mirroring buttons to the other side of a character: copies flipped about a
// vertical axis, their object names, labels and scripts moved to the other
// side by pairs of side patterns, added as one undoable step.
//
// Patterns come in pairs (left, right) and swap both ways. A name is mapped
// per DAG path segment, after its namespaces and before any attribute or
// component; a pattern ending in '_' swaps a prefix ("L_arm"), one starting
// with '_' a suffix ("arm_L"), any other either ("leftArm", "arm_left"). A
// segment equal to a pattern's letters ("L" for "L_") swaps whole. Only the
// first match counts; matching is case-sensitive, so each spelling a rig
// uses is a pattern of its own. Each picker keeps its pairs
// (picker_page::mirror_patterns, model/side_patterns.h).
#pragma once

#include "edit/button_commands.h"
#include "model/picker_page.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUndoCommand>
#include <QVector>

namespace mirror {

// One object name ("ns:L_arm|ns:L_hand.tx") on the other side.
QString map_name(const QString& name, const QStringList& pairs);
// An attribute button's plug: its node as map_name does, and its attributes.
QString map_plug(const QString& plug, const QStringList& pairs);
// A label, word by word ("L fingers" -> "R fingers").
QString map_label(const QString& label, const QStringList& pairs);
// The object names of a script in its language (0 MEL, 1 Python), as a
// rebind rewrites them: never slices, dictionaries or other syntax.
QString map_script(const QString& script, int language, const QStringList& pairs);

// Twice the default axis, so that odd widths mirror without rounding: the
// picture's width, or without a picture the outermost button centres added
// (the middle between them).
int default_twice_axis(const picker_page* page);
// Copies of the page's buttons at these rows, flipped to x' = twiceAxis - x.
// A copy the page already has (same kind, place and objects: a button on
// the axis, or a side mirrored before) is left out and counted in alreadyThere.
// A copy would lie if it kept an object of the side it came from, so when a
// button to be copied has a name the pairs leave as it is (or a command
// button a script they leave as it is), there are no copies at all:
// *unmapped gets each such button as its label (or place) with those names.
QList<buttonAttributes> mirrored_copies(const picker_page* page, const QVector<int>& rows, int twiceAxis,
                                        const QStringList& pairs, int* alreadyThere = nullptr,
                                        QStringList* unmapped = nullptr);
// Why nothing was mirrored, for an unmapped report: "the side patterns
// (L_/R_, ...) do not map these names of 2 buttons: arm: rig:arm; go: its
// script".
QString unmapped_reason(const QStringList& report, const QStringList& pairs);

// The copies whose selection objects are not all in the scene, each as its
// label (or first object) with the missing names: empty when all exist.
// Asks the host.
QStringList missing_report(const QList<buttonAttributes>& copies, QStringList* missingNames = nullptr);
// The warning for a report: "QuillmarshPicker - <what>: ...".
QString missing_warning(const QString& what, const QStringList& report);

} // namespace mirror

// Adds the copies (appended, in order) as one step; they become the
// picker's selection and its targets, as pasted buttons do, and the host's
// is left alone (the window's Mirror then selects them there too).
class mirror_buttons_cmd : public QUndoCommand {
public:
    mirror_buttons_cmd(picker_page* page, const QList<buttonAttributes>& copies);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_page* page;
    added_buttons added;
};
