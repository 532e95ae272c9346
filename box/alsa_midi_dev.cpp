#include "box/alsa_midi_dev.h"

#include "box/midi_result.h"

#include <boost/make_shared.hpp>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {
constexpr const char* kSequencerDevice = "/dev/snd/seq";
constexpr const char* kClientName = "Vantoria";
constexpr unsigned kReadable = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned kWritable = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr int kMaxPollFds = 8;

snd_seq_t* openSequencer(int streams)
{
    // Without the device node ALSA would only complain on stderr.
    if (access(kSequencerDevice, R_OK | W_OK) != 0)
        return nullptr;
    snd_seq_t* seq = nullptr;
    if (snd_seq_open(&seq, "default", streams, SND_SEQ_NONBLOCK) < 0)
        return nullptr;
    snd_seq_set_client_name(seq, kClientName);
    return seq;
}

// Calls `visit(name, client, port)` for every port of another client that has `caps`.
template <class Visit>
void forEachPort(unsigned caps, Visit visit)
{
    snd_seq_t* seq = openSequencer(SND_SEQ_OPEN_DUPLEX);
    if (!seq)
        return;
    const int self = snd_seq_client_id(seq);
    snd_seq_client_info_t* client = nullptr;
    snd_seq_port_info_t* port = nullptr;
    snd_seq_client_info_malloc(&client);
    snd_seq_port_info_malloc(&port);
    snd_seq_client_info_set_client(client, -1);
    while (snd_seq_query_next_client(seq, client) >= 0) {
        const int id = snd_seq_client_info_get_client(client);
        if (id == self)
            continue;
        snd_seq_port_info_set_client(port, id);
        snd_seq_port_info_set_port(port, -1);
        while (snd_seq_query_next_port(seq, port) >= 0)
            if ((snd_seq_port_info_get_capability(port) & caps) == caps)
                visit(snd_seq_port_info_get_name(port), id, snd_seq_port_info_get_port(port));
    }
    snd_seq_port_info_free(port);
    snd_seq_client_info_free(client);
    snd_seq_close(seq);
}
} // namespace

void midi_input_devices(midi_input_list_t& list)
{
    forEachPort(kReadable, [&list](const char* name, int client, int port) {
        list.push_back(boost::make_shared<alsa_midi_input_dev_t>(name, client, port));
    });
}

void midi_output_devices(midi_output_list_t& list)
{
    forEachPort(kWritable, [&list](const char* name, int client, int port) {
        list.push_back(boost::make_shared<alsa_midi_output_dev_t>(name, client, port));
    });
}

alsa_midi_input_dev_t::alsa_midi_input_dev_t(const std::string& name, int client, int port)
    : midi_input_base_t(name), mClient(client), mPort(port)
{
}

alsa_midi_input_dev_t::~alsa_midi_input_dev_t() { shut(); }

bool alsa_midi_input_dev_t::backend_open()
{
    mSeq = openSequencer(SND_SEQ_OPEN_INPUT);
    if (!mSeq)
        return false;
    const int own = snd_seq_create_simple_port(mSeq, "box in", kWritable, SND_SEQ_PORT_TYPE_APPLICATION);
    if (own < 0 || snd_seq_connect_from(mSeq, own, mClient, mPort) < 0)
        return false;
    if (snd_midi_event_new(static_cast<std::size_t>(message_size()), &mDecoder) < 0)
        return false;
    snd_midi_event_no_status(mDecoder, 1);
    mScratch.reset(new std::uint8_t[static_cast<std::size_t>(message_size())]);
    mWake = eventfd(0, EFD_NONBLOCK);
    if (mWake < 0)
        return false;
    mThread = std::thread([this] { pump(); });
    return true;
}

void alsa_midi_input_dev_t::backend_close()
{
    if (mThread.joinable()) {
        const std::uint64_t one = 1;
        (void)!write(mWake, &one, sizeof one);
        mThread.join();
    }
    if (mWake >= 0)
        ::close(mWake);
    mWake = -1;
    if (mDecoder)
        snd_midi_event_free(mDecoder);
    mDecoder = nullptr;
    if (mSeq)
        snd_seq_close(mSeq);
    mSeq = nullptr;
}

// The reading thread: waits for events or for the wake-up of `close`.
void alsa_midi_input_dev_t::pump()
{
    pollfd fds[kMaxPollFds];
    const int count = snd_seq_poll_descriptors(mSeq, fds, kMaxPollFds - 1, POLLIN);
    fds[count] = {mWake, POLLIN, 0};
    for (;;) {
        if (poll(fds, static_cast<nfds_t>(count + 1), -1) < 0 && errno != EINTR)
            return;
        if (fds[count].revents & POLLIN)
            return;
        snd_seq_event_t* event = nullptr;
        while (snd_seq_event_input(mSeq, &event) >= 0 && event)
            dispatch(*event);
    }
}

void alsa_midi_input_dev_t::dispatch(const snd_seq_event_t& event)
{
    if (event.type == SND_SEQ_EVENT_SYSEX) {
        const auto* data = static_cast<const std::uint8_t*>(event.data.ext.ptr);
        const int size = static_cast<int>(event.data.ext.len);
        for (int at = 0; at < size; at += message_size())
            deliver(data + at, std::min(message_size(), size - at), true);
        return;
    }
    const long size = snd_midi_event_decode(mDecoder, mScratch.get(), message_size(), &event);
    if (size > 0)
        deliver(mScratch.get(), static_cast<int>(size), false);
}

alsa_midi_output_dev_t::alsa_midi_output_dev_t(const std::string& name, int client, int port)
    : midi_output_base_t(name), mClient(client), mPort(port)
{
}

alsa_midi_output_dev_t::~alsa_midi_output_dev_t() { shut(); }

bool alsa_midi_output_dev_t::backend_open()
{
    mSeq = openSequencer(SND_SEQ_OPEN_OUTPUT);
    if (!mSeq)
        return false;
    mOwnPort = snd_seq_create_simple_port(mSeq, "box out", kReadable, SND_SEQ_PORT_TYPE_APPLICATION);
    return mOwnPort >= 0 && snd_seq_connect_to(mSeq, mOwnPort, mClient, mPort) >= 0
        && snd_midi_event_new(midi_msg_t::kMinCapacity, &mEncoder) >= 0;
}

void alsa_midi_output_dev_t::backend_close()
{
    if (mEncoder)
        snd_midi_event_free(mEncoder);
    mEncoder = nullptr;
    if (mSeq)
        snd_seq_close(mSeq);
    mSeq = nullptr;
    mOwnPort = -1;
}

int alsa_midi_output_dev_t::backend_send(const midi_msg_t& msg)
{
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    if (msg.is_long()) {
        snd_seq_ev_set_sysex(&event, static_cast<unsigned>(msg.size()), const_cast<std::uint8_t*>(msg.data()));
    } else {
        snd_midi_event_reset_encode(mEncoder);
        if (snd_midi_event_encode(mEncoder, msg.data(), msg.size(), &event) != msg.size())
            return midi_send_refused;
    }
    snd_seq_ev_set_source(&event, mOwnPort);
    snd_seq_ev_set_subs(&event);
    snd_seq_ev_set_direct(&event);
    const int result = snd_seq_event_output_direct(mSeq, &event);
    if (result >= 0)
        return midi_ok;
    return result == -EAGAIN ? midi_not_ready : midi_send_refused;
}
