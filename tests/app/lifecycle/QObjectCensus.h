#pragma once
// Every QObject alive in the process from the moment a census is taken up: Qt's hooks for
// debugging tools report each object's construction and destruction, on every thread. One
// census at a time.

#include <QObject>

#include <set>

class QObjectCensus {
public:
    QObjectCensus();
    ~QObjectCensus();
    QObjectCensus(const QObjectCensus&) = delete;
    QObjectCensus& operator=(const QObjectCensus&) = delete;

    // Whether this Qt offers the hooks at all.
    static bool available();
    // The objects made since the census began and not destroyed yet.
    std::set<QObject*> alive() const;
};
