#include "plugins/lv2/CPatternChoices.h"

#include "beamformer/CZircFactory.h"
#include "settings/BeamChoice.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <cstring>

CPatternChoices::CPatternChoices()
{
    const CZircFactory factory;
    const int patterns = std::min<int>(factory.mNumPatterns, kMaxPatterns);
    std::vector<QStringList> texts(static_cast<std::size_t>(patterns));
    for (int p = 0; p < patterns; ++p) {
        const vkPattern* pattern = factory.pattern(p);
        mNames.emplace_back(pattern->mName, strnlen(pattern->mName, sizeof pattern->mName));
        for (int i = 0; i < pattern->mNumParameters; ++i) {
            texts[std::size_t(p)].append(QString::number(pattern->mParameterValues[i]));
            mWng.push_back(pattern->mParameterValues[i]);
        }
    }
    std::sort(mWng.begin(), mWng.end());
    mWng.erase(std::unique(mWng.begin(), mWng.end()), mWng.end());
    if (mWng.size() > std::size_t(kMaxWng))
        mWng.resize(std::size_t(kMaxWng));
    mDefaultWng = mWng.empty() ? 0 : std::clamp(0, mWng.front(), mWng.back());
    for (int p = 0; p < patterns; ++p)
        for (std::size_t w = 0; w < mWng.size(); ++w)
            mParameter[std::size_t(p)][w] =
                beam_choice::closestParameter(texts[std::size_t(p)], QString::number(mWng[w]));
}

int CPatternChoices::pattern(float control) const
{
    if (mNames.empty() || !std::isfinite(control))
        return 0;
    return std::clamp(int(std::lround(control)), 0, patternCount() - 1);
}

// The nearest choice; the higher one on a tie, as the settings files resolve values.
int CPatternChoices::wngChoice(float control) const
{
    if (!std::isfinite(control))
        control = float(mDefaultWng);
    int best = 0;
    for (std::size_t w = 1; w < mWng.size(); ++w)
        if (std::abs(float(mWng[w]) - control) <= std::abs(float(mWng[std::size_t(best)]) - control))
            best = int(w);
    return best;
}

int CPatternChoices::parameter(int pattern, float wngControl) const
{
    if (mWng.empty())
        return 0;
    return mParameter[std::size_t(std::clamp(pattern, 0, patternCount() - 1))][std::size_t(wngChoice(wngControl))];
}
