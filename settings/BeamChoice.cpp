#include "settings/BeamChoice.h"

#include <algorithm>

namespace beam_choice {

int patternIndex(const QStringList& patterns, const QString& name)
{
    return std::max(0, int(patterns.indexOf(name)));
}

int closestParameter(const QStringList& parameters, const QString& text)
{
    const int exact = int(parameters.indexOf(text));
    if (exact >= 0)
        return exact;
    if (parameters.isEmpty())
        return 0;
    const int v = text.toInt();
    if (parameters.first().toInt() >= v)
        return 0;
    int i = 0;
    while (i < parameters.size() - 1 && parameters[i].toInt() < v)
        ++i;
    if (parameters[i].toInt() < v)
        return i; // the walk reached the last entry
    const int above = parameters[i].toInt() - v;
    const int below = v - parameters[i - 1].toInt();
    return below < above ? i - 1 : i;
}

} // namespace beam_choice
