#pragma once
// A disk that fills up, for tests: while an object of this class lives, the process
// writes no file beyond a size, and a write past it fails with EFBIG (the signal that
// would end the process is ignored meanwhile). No privileges needed; the limit and the
// signal's handling are restored at the end.

#include <signal.h>
#include <sys/resource.h>

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        mPreviousHandler = signal(SIGXFSZ, SIG_IGN);
        mHavePrevious = getrlimit(RLIMIT_FSIZE, &mPrevious) == 0;
        rlimit limit = mPrevious;
        limit.rlim_cur = bytes;
        mActive = mHavePrevious && setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        if (mHavePrevious)
            setrlimit(RLIMIT_FSIZE, &mPrevious);
        signal(SIGXFSZ, mPreviousHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    bool active() const { return mActive; }

private:
    rlimit mPrevious{};
    bool mHavePrevious = false;
    bool mActive = false;
    sighandler_t mPreviousHandler = SIG_DFL;
};
