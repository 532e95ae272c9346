#pragma once
// How a stored pattern name and parameter text become indices into the pattern library:
// a name that is gone selects pattern 0, a parameter text that is gone selects the
// closest value of the pattern's list.

#include <QString>
#include <QStringList>

namespace beam_choice {

// Index of `name` in `patterns`, or 0 when it is not there.
int patternIndex(const QStringList& patterns, const QString& name);

// Index in `parameters` (texts of integers in ascending order) of `text` itself, or else
// of the value nearest to it, the higher one on a tie. A text that is no number counts as
// 0. An empty list gives 0.
int closestParameter(const QStringList& parameters, const QString& text);

} // namespace beam_choice
