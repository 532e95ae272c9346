#pragma once
// MIDI devices over the ALSA sequencer, one per sequencer port, named after the port.
// The input device subscribes a port of its own to the source and reads events on a
// thread of its own, which plays the driver's callback thread: events become messages
// from the pool (System Exclusive data in pieces of at most one message's size) and
// nothing on that thread allocates. The output device sends directly, unqueued; ALSA
// copies the data, so a message can go back to its pool as soon as `send` returns.

#include "box/midi_device.h"

#include <alsa/asoundlib.h>

#include <atomic>
#include <memory>
#include <thread>

using midi_input_list_t = std::vector<boost::shared_ptr<midi_input_dev_t>>;
using midi_output_list_t = std::vector<boost::shared_ptr<midi_output_dev_t>>;

// Appends one unopened device per sequencer port that can be read from (inputs) or
// written to (outputs), in the order of client and port numbers. A machine without a
// sequencer lists none and this is no error.
void midi_input_devices(midi_input_list_t& list);
void midi_output_devices(midi_output_list_t& list);

class alsa_midi_input_dev_t : public midi_input_base_t {
public:
    alsa_midi_input_dev_t(const std::string& name, int client, int port);
    ~alsa_midi_input_dev_t() override;

private:
    bool backend_open() override;
    void backend_close() override;
    void pump();
    void dispatch(const snd_seq_event_t& event);

    const int mClient;
    const int mPort;
    snd_seq_t* mSeq = nullptr;
    snd_midi_event_t* mDecoder = nullptr;
    int mWake = -1;
    std::unique_ptr<std::uint8_t[]> mScratch;
    std::thread mThread;
};

class alsa_midi_output_dev_t : public midi_output_base_t {
public:
    alsa_midi_output_dev_t(const std::string& name, int client, int port);
    ~alsa_midi_output_dev_t() override;

private:
    bool backend_open() override;
    void backend_close() override;
    int backend_send(const midi_msg_t& msg) override;

    const int mClient;
    const int mPort;
    snd_seq_t* mSeq = nullptr;
    int mOwnPort = -1;
    snd_midi_event_t* mEncoder = nullptr;
};
