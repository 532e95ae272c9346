#include "tests/app/lifecycle/QObjectCensus.h"

#include <mutex>

// Qt's hook table for debugging tools: exported by QtCore, declared only in a private
// header. Its layout is fixed for such tools: a version, the table's size, Qt's version,
// then the object callbacks.
extern quintptr qtHookData[];

namespace {
enum HookIndex { HookDataVersion = 0, HookDataSize = 1, AddQObject = 3, RemoveQObject = 4 };

std::mutex gLock;
std::set<QObject*> gAlive;

void added(QObject* object)
{
    const std::lock_guard lock(gLock);
    gAlive.insert(object);
}

void removed(QObject* object)
{
    const std::lock_guard lock(gLock);
    gAlive.erase(object);
}
} // namespace

bool QObjectCensus::available()
{
    return qtHookData[HookDataVersion] >= 1 && qtHookData[HookDataSize] > RemoveQObject;
}

QObjectCensus::QObjectCensus()
{
    qtHookData[AddQObject] = reinterpret_cast<quintptr>(&added);
    qtHookData[RemoveQObject] = reinterpret_cast<quintptr>(&removed);
}

QObjectCensus::~QObjectCensus()
{
    qtHookData[AddQObject] = 0;
    qtHookData[RemoveQObject] = 0;
    const std::lock_guard lock(gLock);
    gAlive.clear();
}

std::set<QObject*> QObjectCensus::alive() const
{
    const std::lock_guard lock(gLock);
    return gAlive;
}
