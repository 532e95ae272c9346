#pragma once
// SIGINT, SIGTERM and SIGHUP (Ctrl+C, a shutdown, a closed terminal) reach the main thread
// as a Qt signal, so the program can end the way closing its window does and a take in
// progress is finished in its files instead of being cut off. The handler only writes the
// signal's number to one end of a socket pair; a notifier on the other end reads it on the
// main thread. One object at a time; the default handlers come back when it goes.

#include <QObject>

class QSocketNotifier;

class CTerminationSignals : public QObject {
    Q_OBJECT

public:
    explicit CTerminationSignals(QObject* parent = nullptr);
    ~CTerminationSignals() override;

    // False when the socket pair could not be made: the signals then keep their defaults.
    bool installed() const { return mNotifier != nullptr; }

signals:
    void received(int signal);

private:
    void readSignal();

    QSocketNotifier* mNotifier = nullptr;
};
