// What runs in the callback: the default copy, an object or a function from a module,
// or the object the application hands over.

#include "device/vkHost.h"

#include "core/contract/vkAudioClass.h"
#include "device/vkHostState.h"

#include <dlfcn.h>

#include <algorithm>

namespace {

constexpr const char* kObjectSymbol = "vkAPIobject";
constexpr const char* kFunctionSymbol = "vkAPIfunction";

// Drops what a module gave and the module itself; the object goes before its code.
void releaseModule(vkHostState& s)
{
    if (s.mObject == s.mModuleObject)
        s.mObject = nullptr;
    delete s.mModuleObject;
    s.mModuleObject = nullptr;
    if (s.mModule)
        dlclose(s.mModule);
    s.mModule = nullptr;
}

// Opens the module and looks up a symbol: -5 without a module, -9 without the symbol.
int lookUp(vkHostState& s, const char* symbol, void*& address)
{
    if (s.mModulePath.empty())
        return vkHostErrModule;
    s.mModule = dlopen(s.mModulePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!s.mModule)
        return vkHostErrModule;
    address = dlsym(s.mModule, symbol);
    return address ? vkHostOk : vkHostErrSymbol;
}

int useModuleObject(vkHostState& s)
{
    void* address = nullptr;
    const int result = lookUp(s, kObjectSymbol, address);
    if (result != vkHostOk)
        return result;
    s.mModuleObject = reinterpret_cast<vkAPIobjectFunction>(address)();
    if (!s.mModuleObject)
        return vkHostErrSymbol;
    s.mObject = s.mModuleObject;
    s.mFunction = nullptr;
    return vkHostOk;
}

int useModuleFunction(vkHostState& s)
{
    void* address = nullptr;
    const int result = lookUp(s, kFunctionSymbol, address);
    if (result != vkHostOk)
        return result;
    s.mObject = nullptr;
    s.mFunction = reinterpret_cast<vkHostFunction>(address);
    return vkHostOk;
}

} // namespace

int hostDefaultCopy(float** in, float** out, int frames)
{
    const vkHostState& s = hostState();
    const int n = std::min(s.mNumInputs, s.mNumOutputs);
    for (int i = 0; i < n; ++i)
        ippsCopy_32f(in[i], out[i], frames);
    return 0;
}

int hostConfigureModuleObject()
{
    vkHostState& s = hostState();
    return s.mModuleObject ? s.mModuleObject->setFormat(s.mInFormat, s.mOutFormat) : vkHostOk;
}

void hostSetObject(vkAudioClass* object)
{
    hostState().mPendingObject = object;
}

void hostSetModule(const char* path)
{
    hostState().mModulePath = path ? path : "";
}

int hostSetTarget(int target)
{
    vkHostState& s = hostState();
    if (s.mRunning)
        return vkHostErrRunning;
    if (target < vkTargetCopy || target > vkTargetObject)
        return vkHostErrTarget;
    if (target == vkTargetObject && !s.mPendingObject)
        return vkHostErrModule;
    releaseModule(s);
    int result = vkHostOk;
    switch (target) {
    case vkTargetCopy:
        s.mObject = nullptr;
        s.mFunction = hostDefaultCopy;
        break;
    case vkTargetModule:
        result = useModuleObject(s);
        break;
    case vkTargetFunction:
        result = useModuleFunction(s);
        break;
    default:
        s.mObject = s.mPendingObject;
        s.mFunction = nullptr;
        break;
    }
    if (result != vkHostOk) {
        releaseModule(s);
        s.mObject = nullptr;
        s.mFunction = nullptr;
    } else if (target == vkTargetModule && s.mInBuffer) {
        result = hostConfigureModuleObject();
    }
    s.mTarget = target;
    return result;
}
