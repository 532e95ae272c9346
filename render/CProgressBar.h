#pragma once
// A one-line progress bar redrawn in place on a terminal: the bar, the percentage and
// the audio time done. Draws only when the percentage changes; finish() ends the line.

#include <cstdio>

class CProgressBar {
public:
    // Draws into `stream` only when it is a terminal and `enabled`.
    CProgressBar(std::FILE* stream, double totalSeconds, bool enabled);

    void update(double doneSeconds);
    void finish();

private:
    std::FILE* mStream;
    double mTotal;
    bool mEnabled;
    int mShownPercent = -1;
};
