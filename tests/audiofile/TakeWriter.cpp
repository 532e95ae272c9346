// A recorder for the crash tests to kill: records the grid signal through the streaming
// file and its disk thread, paced at a multiple of real time, and after each block
// writes the frames fed so far to its standard output, one line each (a first line
// "started" once the take's file exists).
// Arguments: file channels rate block speed.

#include "tests/audiofile/AudioFileHarness.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

void say(const std::string& line)
{
    const std::string text = line + '\n';
    if (::write(STDOUT_FILENO, text.data(), text.size()) != ssize_t(text.size()))
        std::_Exit(3);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6)
        return 2;
    const QString path = QString::fromLocal8Bit(argv[1]);
    const int channels = std::stoi(argv[2]), rate = std::stoi(argv[3]), block = std::stoi(argv[4]);
    const double speed = std::stod(argv[5]);
    wavetest::Recorder rec(channels, rate, block);
    if (rec.node.openFile(path, CAudioFile::modeRecording) != 0)
        return 1;
    rec.node.startFile(true);
    say("started");
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        rec.feed(1);
        say(std::to_string(rec.fed));
        std::this_thread::sleep_until(start + std::chrono::duration<double>(double(rec.fed) / rate / speed));
    }
}
