#pragma once
// The module state of the driver layer and the routines its source files share. Main
// thread owns everything while not running; while running the callback owns the
// conversion buffers, filter states and positions, and only the atomics are shared.

#include "core/contract/vkAudioBuffer.h"
#include "core/contract/vkAudioInterface.h"
#include "core/primitives/ipps.h"
#include "device/CDriverRegistry.h"
#include "device/IASIO.h"
#include "device/vkHost.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

class vkAudioClass;

using vkHostFunction = int (*)(float** in, float** out, int frames);

// One driver of the list: its running number, the backend that makes it, its name.
struct vkDriverEntry {
    int number = 0;
    const CDriverBackend* backend = nullptr;
    std::string name;
};

struct vkHostState {
    // Driver and stream.
    std::unique_ptr<IASIO> mDriver;
    int mDriverIndex = -1; // entry of the loaded driver in mDriverList
    bool mLoaded = false;
    bool mOpen = false;
    bool mRunning = false;
    ASIODriverInfo mDriverInfo{};
    std::vector<vkDriverEntry> mDriverList;
    std::array<std::array<char, vkDriverNameLength>, vkDriverNameCount> mDriverNames{};
    int mDriverNameCount = 0;

    // Channels and lengths.
    int mNumInputs = 2;
    int mNumOutputs = 2;
    std::vector<int> mInputList{0, 1};
    std::vector<int> mOutputList{0, 1};
    int mBlockLength = 0;
    int mDriverBlock = 0;
    int mDeviceBlock = 0;
    double mSampleRate = 0.0;
    double mDriverRate = 0.0;

    // Buffers, inputs first in the two ASIO records.
    std::vector<ASIOBufferInfo> mBufferInfo;
    std::vector<ASIOChannelInfo> mChannelInfo;
    std::array<std::vector<void*>, 2> mInDriver;
    std::array<std::vector<void*>, 2> mOutDriver;
    std::vector<float*> mInDevice, mOutDevice;
    std::vector<float*> mInFloat, mOutFloat;
    std::unique_ptr<vkAudioBuffer> mInBuffer, mOutBuffer;
    vkAudioInterface mInFormat, mOutFormat;

    // Callback bookkeeping; the atomics are the words the callback shares.
    std::atomic<int> mBusy{-1};
    std::atomic<int> mMissed{0};
    std::atomic<int> mBlockCount{0};
    std::atomic<float> mLoad{0.0f}; // time in the last callback over its period
    bool mPostOutput = false;
    std::atomic<int> mResetFlag{0}; // bit 0: reset asked for; bit 1: the rate changed
    int mResetIndex = -1;           // the driver a failed reset could not load again
    bool mResetOpen = false;        // whether its stream was open

    // Processing target.
    int mTarget = vkTargetCopy;
    vkAudioClass* mObject = nullptr;
    vkAudioClass* mPendingObject = nullptr;
    vkHostFunction mFunction = nullptr;
    std::string mModulePath;
    void* mModule = nullptr;               // dlopen handle of the target's module
    vkAudioClass* mModuleObject = nullptr; // what the module's vkAPIobject gave; ours to delete

    // Block and rate adaptation.
    int mRateUp = 1;
    int mRateDown = 1;
    int mFilterIndex = -1;
    int mFilterRuns = 0;
    std::vector<IppsFIRState_32f*> mInFilter, mOutFilter;
    int mPrefill = 0;
    int mInFill = 0;
    int mOutAvailable = 0;
    int mOutRead = 0;
    int mOutPos = 0;
};

// The one instance.
vkHostState& hostState();

// Shared between the layer's source files.
ASIOTime* hostBufferSwitchTimeInfo(ASIOTime* params, std::int32_t index, ASIOBool directProcess);
ASIOTime* hostReblockSwitchTimeInfo(ASIOTime* params, std::int32_t index, ASIOBool directProcess);
void hostBufferSwitch(std::int32_t index, ASIOBool directProcess);
void hostReblockSwitch(std::int32_t index, ASIOBool directProcess);
void hostSampleRateDidChange(ASIOSampleRate rate);
std::int32_t hostAsioMessage(std::int32_t selector, std::int32_t value, void* message, double* opt);

int hostDefaultCopy(float** in, float** out, int frames);
// Nobody else can configure an object that came out of a module: it gets the stream's formats.
int hostConfigureModuleObject();
void hostClearBuffers();
int hostResetDriver();

// Block and rate adaptation (vkHostRate.cpp).
// mDeviceBlock, mPrefill and mFilterRuns from mBlockLength and the ratio; -3, with the
// filter runs left as they were, when the block is no multiple of mRateUp.
int hostUpdateLengths();
void hostBuildFilters();
void hostFreeFilters();
void hostClearFilters();
void hostFilterIn();
void hostFilterOut();
