#include "render/CProgressBar.h"

#include <algorithm>
#include <unistd.h>

namespace {
constexpr int kWidth = 40;
}

CProgressBar::CProgressBar(std::FILE* stream, double totalSeconds, bool enabled)
    : mStream(stream)
    , mTotal(totalSeconds)
    , mEnabled(enabled && ::isatty(::fileno(stream)) == 1)
{
}

void CProgressBar::update(double doneSeconds)
{
    const double fraction = mTotal > 0.0 ? std::clamp(doneSeconds / mTotal, 0.0, 1.0) : 1.0;
    const int percent = int(fraction * 100.0);
    if (!mEnabled || percent == mShownPercent)
        return;
    mShownPercent = percent;
    char bar[kWidth + 1];
    const int filled = int(fraction * kWidth);
    for (int i = 0; i < kWidth; ++i)
        bar[i] = i < filled ? '#' : '.';
    bar[kWidth] = '\0';
    std::fprintf(mStream, "\r[%s] %3d%%  %.1f of %.1f s", bar, percent, doneSeconds, mTotal);
    std::fflush(mStream);
}

void CProgressBar::finish()
{
    if (mEnabled && mShownPercent >= 0)
        std::fprintf(mStream, "\n");
    mShownPercent = -1;
}
