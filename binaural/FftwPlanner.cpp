#include "binaural/FftwPlanner.h"

std::mutex& fftwPlannerMutex()
{
    static std::mutex mutex;
    return mutex;
}
