// The whole application started and closed several times in one process: on the emulated
// hardware, on a test driver with a file as input, and on a JACK server. Each run plays,
// records, answers the close question and is deleted, stopped first or closed while it
// runs; afterwards its takes are whole wave files, every thread it started (box, clock,
// disk, JACK) has ended, no object it made is left, and no timer runs. Built with
// AddressSanitizer, the process must also end without a leak.

#include "app/CZircApp.h"
#include "audiofile/CAudioFile.h"
#include "graph/CAudioGraph.h"
#include "device/drivers/CJackDriver.h"
#include "device/vkHost.h"
#include "tests/app/AppTestSupport.h"
#include "tests/app/lifecycle/QObjectCensus.h"
#include "tests/device/CFakeDriver.h"
#include "tests/support/DummyJackServer.h"
#include "tests/support/SoxWave.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CBeamSelectionTrack.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QAbstractEventDispatcher>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPixmapCache>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

using apptest::WorkingDirectory;

namespace {
const QString kIni = QStringLiteral("vantoria.ini");
// Frames each sink records: a few blocks, enough to reach the file.
constexpr int kRecordFrames = 8 * 512;
// A thread joined or waited for may stay listed by the kernel for a moment after it has
// told so; this is the moment's bound.
constexpr int kThreadExitMs = 3000;

int processThreads()
{
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                          std::filesystem::directory_iterator()));
}

// The names of the process's threads, for a failure's message.
std::string threadNames()
{
    std::string names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        names += name + "; ";
    }
    return names;
}

std::string describe(const std::set<QObject*>& objects)
{
    std::string text;
    for (QObject* o : objects)
        text += std::string(o->metaObject()->className()) + " '" + o->objectName().toStdString() + "'; ";
    return text;
}

class Lifecycle : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        sThreads = processThreads();
        sCensus = std::make_unique<QObjectCensus>();
        sRunsEnded = 0; // a new census knows nothing of earlier runs
    }
    static void TearDownTestSuite() { sCensus.reset(); }

    void SetUp() override { ASSERT_TRUE(QObjectCensus::available()); }
    void TearDown() override { hostInit(); }

    // The window as the program opens it.
    void open()
    {
        app = std::make_unique<CZircApp>();
        app->resize(app->sizeHint());
        app->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(app.get()));
        ASSERT_EQ(app->session().graphResult(), 0);
    }
    void press(CAudioTransport::Button which) { app->transport()->button(which)->click(); }
    bool takesRecorded() const
    {
        for (int sink : sinks)
            if (app->session().takePosition(sink) < kRecordFrames)
                return false;
        return true;
    }
    void startRecording(std::initializer_list<int> which = {CAudioGraph::sinkArray, CAudioGraph::sinkBeams})
    {
        sinks = which;
        for (int sink : sinks)
            app->recordingSinks()->sinkSwitch(sink)->setChecked(true);
        press(CAudioTransport::RecordButton);
        takes.clear();
        for (int sink : sinks)
            takes << dir.file(app->recordingSinks()->fileLabel(sink)->text());
    }
    void stopRecordingAndPlaying()
    {
        press(CAudioTransport::RecordButton);
        press(CAudioTransport::StopButton);
        EXPECT_FALSE(hostIsRunning());
    }
    // Each take is a wave file whose header holds at least what was recorded.
    void expectTakesWritten()
    {
        for (const QString& take : takes)
            EXPECT_GE(soxFrames(take), kRecordFrames) << take.toStdString();
        EXPECT_TRUE(dialogs.warnings.empty()) << dialogs.warningTexts().join(u' ').toStdString();
    }
    // Another pattern on the first track makes the close ask; Discard closes without a
    // file dialog.
    void closeAnsweringTheQuestion()
    {
        QComboBox* patterns = app->beamSelection()->track(0)->patternBox();
        patterns->setCurrentIndex(patterns->currentIndex() == 0 ? 1 : 0);
        ASSERT_TRUE(app->beamSelection()->isDirty());
        const std::size_t asked = dialogs.questions.size();
        dialogs.buttons = {QMessageBox::Discard};
        EXPECT_TRUE(app->close());
        EXPECT_EQ(dialogs.questions.size(), asked + 1);
        EXPECT_TRUE(dialogs.fileRequests.empty());
        app.reset();
    }
    // What one run left behind: its threads have ended, none of its objects is left but
    // Qt's own, and no object that lives holds a timer.
    void expectNothingLeftSince(const std::set<QObject*>& before)
    {
        expectThreadsEnded();
        expectNoObjectLeftSince(before);
        expectNoTimer();
    }
    void expectThreadsEnded()
    {
        // Qt converts large images on its global pool, whose idle threads otherwise stay
        // for half a minute; they are Qt's, ended here, and a task still running fails.
        EXPECT_TRUE(QThreadPool::globalInstance()->waitForDone(kThreadExitMs));
        EXPECT_TRUE(QTest::qWaitFor([] { return processThreads() == sThreads; }, kThreadExitMs))
            << processThreads() << " threads, " << sThreads << " before: " << threadNames();
    }
    // Qt keeps what the process's first window made (plug-ins, style hints, caches) and
    // drops some objects of a closed window only when the next one is made; so nothing of
    // ours is left, and after the first run nothing grows.
    void expectNoObjectLeftSince(const std::set<QObject*>& before)
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        std::set<QObject*> left;
        std::set<QObject*> ours;
        for (QObject* o : sCensus->alive()) {
            if (before.contains(o))
                continue;
            left.insert(o);
            if (!std::string(o->metaObject()->className()).starts_with('Q'))
                ours.insert(o);
        }
        EXPECT_TRUE(ours.empty()) << describe(ours);
        EXPECT_TRUE(sRunsEnded == 0 || sCensus->alive().size() <= before.size()) << describe(left);
        ++sRunsEnded;
    }
    void expectNoTimer()
    {
        // Qt's pixmap cache keeps a timer while it holds pixmaps, the closed window's among them.
        QPixmapCache::clear();
        QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
        std::set<QObject*> timed;
        for (QObject* o : sCensus->alive()) {
            if (o->thread() == QThread::currentThread() && !dispatcher->registeredTimers(o).isEmpty())
                timed.insert(o);
        }
        EXPECT_TRUE(timed.empty()) << describe(timed);
        EXPECT_TRUE(dispatcher->registeredTimers(qApp).isEmpty());
    }

    static int sThreads;   // before the suite's first run
    static int sRunsEnded; // runs checked since the census began
    static std::unique_ptr<QObjectCensus> sCensus;

    WorkingDirectory dir;
    DialogAnswers dialogs;
    CFakeBackend fake;
    std::unique_ptr<CZircApp> app;
    std::vector<int> sinks; // recording
    QStringList takes;      // their files
};
int Lifecycle::sThreads = 0;
int Lifecycle::sRunsEnded = 0;
std::unique_ptr<QObjectCensus> Lifecycle::sCensus;
} // namespace

// No ini file: the emulated box and its driver. Running, the box thread and the emulated
// clock are there beside what the process had. Each run ends another way: stopped, closed
// while recording, closed while playing after its outputs were rebuilt, or stopped with
// the options window open.
TEST_F(Lifecycle, TheEmulatedHardwareRunsAndClosesFourTimes)
{
    enum Ending { Stopped, ClosedRecording, RebuiltClosedPlaying, OptionsOpen };
    fake.config.names.clear();
    for (int ending : {Stopped, ClosedRecording, RebuiltClosedPlaying, OptionsOpen}) {
        SCOPED_TRACE(ending);
        QFile::remove(dir.file(kIni));
        const std::set<QObject*> before = sCensus->alive();
        ASSERT_NO_FATAL_FAILURE(open());
        press(CAudioTransport::PlayButton);
        ASSERT_TRUE(hostIsRunning());
        EXPECT_GE(processThreads(), sThreads + 2) << threadNames();
        if (ending == RebuiltClosedPlaying)
            app->updateZibOutputGroups(7, 4);
        if (ending == OptionsOpen)
            app->options();
        startRecording();
        EXPECT_TRUE(QTest::qWaitFor([&] { return takesRecorded(); }, 10000));
        if (ending == RebuiltClosedPlaying)
            press(CAudioTransport::RecordButton);
        if (ending == Stopped || ending == OptionsOpen)
            stopRecordingAndPlaying();
        ASSERT_NO_FATAL_FAILURE(closeAnsweringTheQuestion());
        expectTakesWritten();
        expectNothingLeftSince(before);
    }
}

// Emulation off, a test driver whose blocks the test calls, and a file of the array's
// channels as input. The beams are recorded for longer than one buffer of the ring, so
// that the player's and the recorder's disk threads both run until Stop.
TEST_F(Lifecycle, ATestDriverPlayingAFileRunsAndCloses)
{
    constexpr int kSeconds = 6; // a ring buffer holds five
    const QString wave = dir.file(QStringLiteral("array.wav"));
    ASSERT_TRUE(makeSoxSine(wave, CAudioGraph::kInputChannels, kSeconds + 1));
    CZircSettings s;
    s.mEmulateHardware = false;
    s.mInputMode = CAudioGraph::inputFile;
    s.mSensorFile = wave;
    s.write(kIni);
    fake.config.outputs = 24;
    dialogs.itemAnswer = QStringLiteral("Fake Driver");
    const std::set<QObject*> before = sCensus->alive();

    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_EQ(app->session().graph()->inputMode(), CAudioGraph::inputFile);
    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    startRecording({CAudioGraph::sinkBeams}); // the array's sink takes live input only
    const int blocks = kSeconds * 44100 / fake.driver()->blockSize();
    for (int block = 0; block < blocks; ++block) {
        fake.driver()->callback(block & 1);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(QTest::qWaitFor([] { return processThreads() >= sThreads + 2; }, kThreadExitMs)) << threadNames();
    EXPECT_TRUE(takesRecorded());
    stopRecordingAndPlaying();
    ASSERT_NO_FATAL_FAILURE(closeAnsweringTheQuestion());
    expectTakesWritten();
    expectNothingLeftSince(before);
}

// Emulation off and a JACK server the only audio: closed while it records, the client and
// its threads end and the takes are finished.
TEST_F(Lifecycle, AJackClientRunsAndCloses)
{
    DummyJackServer server;
    ASSERT_TRUE(server.running()) << "jackd did not start";
    // The server is a process of its own; the client library keeps no thread without a client.
    const int threads = processThreads();
    CZircSettings s;
    s.mEmulateHardware = false;
    s.write(kIni);
    fake.config.names.clear();
    dialogs.itemAnswer = QString::fromLatin1(CJackDriver::kName);
    const std::set<QObject*> before = sCensus->alive();

    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_EQ(app->session().device().mDevice, QString::fromLatin1(CJackDriver::kName));
    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    EXPECT_GT(processThreads(), threads) << threadNames();
    startRecording();
    EXPECT_TRUE(QTest::qWaitFor([&] { return takesRecorded(); }, 10000));
    ASSERT_NO_FATAL_FAILURE(closeAnsweringTheQuestion());
    expectTakesWritten();
    EXPECT_EQ(threads, sThreads);
    expectNothingLeftSince(before);
}
