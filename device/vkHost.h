#pragma once
// The driver layer: finds the audio drivers, loads one, opens the chosen input and output
// channels and, in the driver's buffer callback, runs one processing object per block.
// Driver callbacks carry no user pointer, so the layer is one instance: free functions
// over one block of module state (vkHostState.h). Every operation here runs on the main
// thread; the callback runs on the driver's thread, and whatever it shares with these
// operations is refused with -8 while running.
// The buffer callback, audio thread: no allocation, no lock, no I/O.

class vkAudioClass;

// Results of the layer beside the driver's own error codes.
enum vkHostResult : int {
    vkHostOk = 0,
    vkHostErrCreate = -1,       // the driver could not be created
    vkHostErrChannels = -2,     // a channel list is too long or names a channel outside the device
    vkHostErrBlock = -3,        // the block length does not fit the rate
    vkHostErrTarget = -4,       // no such target
    vkHostErrModule = -5,       // the target's module or object is not there
    vkHostErrRate = -7,         // sample rate not possible
    vkHostErrRunning = -8,      // refused while running
    vkHostErrSymbol = -9,       // target module without the symbol or the object
    vkHostErrNoDriver = -1000,  // init failed, or nothing is loaded
};

// What runs in the callback.
enum vkHostTarget : int {
    vkTargetCopy = 0,     // in[i] to out[i] for the channels both sides have
    vkTargetModule = 1,   // the object that a module's vkAPIobject gives
    vkTargetFunction = 2, // a module's plain function vkAPIfunction(in, out, frames)
    vkTargetObject = 3,   // the object given by hostSetObject
};

// Longest name shown to the user, and how many names are shown.
constexpr int vkDriverNameLength = 32;
constexpr int vkDriverNameCount = 10;

void hostInit();
int hostDriverCount();
const char* hostDriverName(int index);
int hostLoadDriver(const char* name);
void hostUnloadDriver();
const char* hostCurrentDriver();

int hostOpen();
void hostClose();
int hostStart();
int hostStop();
bool hostIsOpen();
bool hostIsRunning();

int hostNumInputs();
int hostBlockLength();
int hostDriverInputs();
int hostDriverOutputs();
// Frames of the stream's rate that the driver adds on the way in and on the way out, as
// it reports them; 0 while not open or when the driver does not say.
int hostInputLatency();
int hostOutputLatency();
double hostSampleRate();
int hostCanSampleRate(double rate);
int hostSetSampleRate(double rate);
int hostSetBlockLength(int frames);
int hostSetInputs(const int* channels, int count);
int hostSetOutputs(const int* channels, int count);

void hostSetObject(vkAudioClass* object);
// The shared library that targets 1 and 2 load; null or empty for none.
void hostSetModule(const char* path);
int hostSetTarget(int target);

// What the callback publishes, read from any thread without a lock: the time the last
// callback took over the period of the driver's block (1.0 is all of it), and the
// callbacks missed since the stream started: those the re-entry guard dropped and the
// periods the driver reported missed (a JACK xrun).
float hostLoad();
int hostMissedCallbacks();

// A driver asked for a reset, at any time and from any of its threads, or lost its
// device (a JACK server that ended): true until the request is served.
bool hostResetRequested();
// Serves a reset now: stops, loads the driver afresh and opens it as it was. A driver
// that cannot be loaded again leaves nothing loaded and is remembered, so that the next
// hostReset tries it again; its failure's text is hostDriverMessage().
int hostReset();
// What the driver says of its state or its last failure ("" when nothing); read it
// before a reset replaces the driver.
const char* hostDriverMessage();
