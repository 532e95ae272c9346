#pragma once
// The machinery of FIR filters that change while audio runs (vkxShadowFilter with one
// filter per bank, CMbf with one set of four order filters): vkxPaddedFir, one filter
// padded to a fixed latency in memory reserved in advance, and vkxShadowFilterBanks,
// which of three banks of them plays which role and the cross-fade between them.
//
// The owner keeps the banks' storage; vkxShadowFilterBanks only hands out bank indices.
// A loaded bank is in force at once when none is; otherwise it runs as `next` beside
// the `current` one, unheard, until its longest filter is full (warm-up), then the
// output cross-fades from current to next along exp(-t / tau) over five time constants
// and next becomes current. A bank loaded while next is busy waits as `pending`; a
// later load replaces it, so only the newest survives.
//
// Hand-over between the control thread and the audio thread, and why it looks like this.
// The audio thread alone moves banks between the roles current and next. The control
// thread never writes those roles while audio may run: it hands a loaded bank over in
// one atomic word, the pending slot, by a release store, and the audio thread takes it
// with an acquire exchange at the start of a block whenever a role is free for it. To
// replace a pending bank the control thread first takes it back with an exchange: if it
// gets the bank, the audio thread can no longer reach it and it is rewritten in peace;
// if it gets -1, the audio thread has already taken it (it runs as next now) and the
// control thread claims a bank from the free mask instead. A bank the audio thread stops
// using (the old current at the end of a fade) goes back to the free mask with a release
// fetch_or once its last block is done, and the claim's acquire load orders the rewrite
// after that block. So a replacement can never meet the move of the pending bank to
// next: whichever exchange comes first decides who owns the bank. Both threads use only
// single atomic read-modify-writes: the audio thread never waits, never retries, and
// never sees a bank before its last write. Three banks are enough, because at most two
// run (current and next) and the third is either pending or being rewritten, never
// both. A fourth
// bank would only be needed to keep the old pending bank alive while its replacement is
// written, and a compare-and-swap over one packed role word would make the audio thread
// loop when the control thread changes the word under it.
//
// Audio thread: no allocation, no lock, no I/O.

#include "core/primitives/CDelayLine.h"

#include <atomic>
#include <memory>

struct IppsFIRState_32f;

// Frees memory of ippsMalloc_8u / ippsMalloc_32f.
struct vkIppsDeleter {
    void operator()(void* p) const;
};
using vkIppsFloats = std::unique_ptr<float[], vkIppsDeleter>;
using vkIppsBytes = std::unique_ptr<unsigned char[], vkIppsDeleter>;

// A linear-phase FIR followed by a delay line, so that filter and line together delay
// by the same number of samples whatever the filter's length: a symmetric filter of L
// taps delays by (L - 1) / 2, the line by the rest.
class vkxPaddedFir {
public:
    // Control thread, audio stopped: state memory of `stateSize` bytes and a ring long
    // enough for `delay`, so that no later load allocates. 0, or 7 when memory is short.
    int reserve(int stateSize, int delay);
    void release();
    // Control thread, while no role refers to the bank: builds the filter with a zero
    // history and pads it to `delay` samples; length 0 leaves only the delay. 0, or 7 if
    // the ring could not be set (it then must not run).
    int load(const float* taps, int length, int delay);
    bool hasFilter() const { return mFir != nullptr; }

    // Audio thread: the filter from `in` into `scratch`, then the delay line into `out`
    // (which may be `scratch`); without a filter only the delay line, from `in`.
    void run(const float* in, float* scratch, float* out, int frames);
    // Zero filter history and an empty ring.
    void clearHistory();

private:
    IppsFIRState_32f* mFir = nullptr;
    vkIppsBytes mMemory;
    CDelayLine mDelay;
    int mDelayLength = 0;
};

class vkxShadowFilterBanks {
public:
    static constexpr int kBankCount = 3;

    enum class Transition { Steady, WarmUp, Fading };

    // The output plan of one block: `head` samples from current, then `fade` samples
    // cross-faded from curve position `fadeStart`, then the rest from next.
    struct Span {
        int head = 0;
        int fade = 0;
        int fadeStart = 0;
        bool fading = false;
    };

    vkxShadowFilterBanks() = default;
    vkxShadowFilterBanks(const vkxShadowFilterBanks&) = delete;
    vkxShadowFilterBanks& operator=(const vkxShadowFilterBanks&) = delete;

    // Control thread, audio stopped.
    // Builds the curves: trunc(sampleRate) * 5 * timeConstantMs / 1000 samples,
    // fade-out exp(-i / tau), fade-in 1 - fade-out. 0, or 7 when memory is short.
    int buildFade(float sampleRate, int timeConstantMs);
    // Empties every role; every bank is free.
    void clear();
    // The newest loaded bank comes into force at once: pending, else next, becomes
    // current and the other roles are emptied. No warm-up, no fade.
    void settle();

    // Control thread, also while audio runs.
    // A bank that no role refers to: the pending one taken back, else a free one. Its
    // contents are the caller's until publish() or release().
    int claim();
    // Hands a claimed bank to the audio thread as pending; `taps` is the longest filter
    // in it, the length of its warm-up. Every write to the bank must come before.
    void publish(int bank, int taps);
    // Returns a bank to the free ones: a claimed bank left unpublished, or (audio
    // thread) one that no role refers to any more. -1 is ignored.
    void release(int bank);
    bool hasPending() const { return mPending.load(std::memory_order_acquire) >= 0; }

    // Audio thread (or control thread while stopped).
    // Takes the pending bank into a free role: current when there is none (in force at
    // once), else next.
    void beginBlock();
    int current() const { return mCurrent; }
    int next() const { return mNext; }
    Transition transition() const;
    // Counts `frames` samples run by next and plans this block's output.
    Span advance(int frames);
    // Writes one channel's output of the block as planned.
    void mix(const Span& span, const float* current, const float* next, float* out, int frames) const;
    // Moves the fade on; at its end next becomes current and the old current is freed.
    void endBlock(const Span& span);

    int fadeLength() const { return mFadeLength; }
    const float* fadeIn() const { return mFadeIn.get(); }
    const float* fadeOut() const { return mFadeOut.get(); }

private:
    static constexpr unsigned kAllFree = (1u << kBankCount) - 1;
    static_assert(std::atomic<int>::is_always_lock_free && std::atomic<unsigned>::is_always_lock_free);

    int mCurrent = -1;
    int mNext = -1;
    std::atomic<int> mPending{-1};
    std::atomic<unsigned> mFree{kAllFree};
    int mTapLength[kBankCount] = {};
    int mNextRun = 0;
    int mFadePos = 0;
    int mFadeLength = 0;
    vkIppsFloats mFadeIn;
    vkIppsFloats mFadeOut;
};
