#include "analysis/FFmpegAudioFormat.h"

#include "analysis/AudioFileCheck.h"

#include "analysis/FFmpegLibrary.h"
#include "analysis/MpegAudioFrames.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace
{
// Only reached once createReaderFor has found the libraries.
const ffmpeg::Library& ff()
{
    return *ffmpeg::library();
}

void keepFFmpegQuiet()
{
    static std::once_flag once;
    std::call_once (once, [] { ff().av_log_set_level (AV_LOG_QUIET); });
}

// The demuxing library of the last opening stays loaded until a reader's samples are first
// read. A file is often opened twice in a row (the checker looks for faults, then loads it),
// and loading the library again in between would cost more than keeping it; by the time the
// samples are decoded into memory, it is closed.
std::mutex demuxerLock;
std::shared_ptr<const ffmpeg::FormatLibrary> lingeringDemuxer;

void keepDemuxer (std::shared_ptr<const ffmpeg::FormatLibrary> formats)
{
    const std::lock_guard<std::mutex> guard (demuxerLock);
    lingeringDemuxer = std::move (formats);
}

void releaseDemuxer()
{
    std::shared_ptr<const ffmpeg::FormatLibrary> released;
    const std::lock_guard<std::mutex> guard (demuxerLock);
    released.swap (lingeringDemuxer); // closed here, after the lock is let go
}

struct FormatContextDeleter
{
    const ffmpeg::FormatLibrary* formats;
    void operator() (AVFormatContext* f) const { formats->avformat_close_input (&f); }
};
struct IoContextDeleter
{
    const ffmpeg::FormatLibrary* formats;
    void operator() (AVIOContext* io) const
    {
        ff().av_freep (&io->buffer); // FFmpeg may have replaced the buffer we gave it
        formats->avio_context_free (&io);
    }
};
struct CodecContextDeleter
{
    void operator() (AVCodecContext* c) const { ff().avcodec_free_context (&c); }
};
struct CodecParametersDeleter
{
    void operator() (AVCodecParameters* p) const { ff().avcodec_parameters_free (&p); }
};
struct PacketDeleter
{
    void operator() (AVPacket* p) const { ff().av_packet_free (&p); }
};
struct FrameDeleter
{
    void operator() (AVFrame* f) const { ff().av_frame_free (&f); }
};
struct ResamplerDeleter
{
    void operator() (SwrContext* s) const { ff().swr_free (&s); }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;

// AVIO callbacks over a juce::InputStream.
int readFromStream (void* opaque, uint8_t* buffer, int size)
{
    auto* in = static_cast<juce::InputStream*> (opaque);
    const int got = in->read (buffer, size);
    return got > 0 ? got : AVERROR_EOF;
}

int64_t seekInStream (void* opaque, int64_t offset, int whence)
{
    auto* in = static_cast<juce::InputStream*> (opaque);
    whence &= ~AVSEEK_FORCE;

    if (whence == AVSEEK_SIZE)
    {
        const auto total = in->getTotalLength();
        return total >= 0 ? total : AVERROR (ENOSYS);
    }

    int64_t target = 0;
    switch (whence)
    {
        case SEEK_SET: target = offset; break;
        case SEEK_CUR: target = in->getPosition() + offset; break;
        case SEEK_END:
        {
            const auto total = in->getTotalLength();
            if (total < 0)
                return AVERROR (ENOSYS);
            target = total + offset;
            break;
        }
        default: return AVERROR (EINVAL);
    }

    if (target < 0 || ! in->setPosition (target))
        return AVERROR (EIO);
    return target;
}

uint32_t readLittleEndian32 (const uint8_t* p)
{
    return (uint32_t) p[0] | ((uint32_t) p[1] << 8) | ((uint32_t) p[2] << 16) | ((uint32_t) p[3] << 24);
}

bool isMpegAudio (AVCodecID id)
{
    return id == AV_CODEC_ID_MP3 || id == AV_CODEC_ID_MP2 || id == AV_CODEC_ID_MP1;
}

// Where one compressed packet lies and which of its decoded samples reach the output. An
// entry of size 0 stands for the end of the stream, where a decoder with a delay gives up
// the samples it still holds.
struct PacketEntry
{
    size_t dataOffset = 0;
    int size = 0;
    // Where the packet's bytes lie in the file, when they lie there whole; -1 when they are
    // kept in memory at dataOffset.
    juce::int64 filePos = -1;
    int rawSamples = 0; // what the decoder gives for it
    int skipFront = 0;  // leading samples dropped: encoder and decoder delay
    int kept = 0;       // samples that reach the output
    juce::int64 outStart = 0;
};

CodecContextPtr openDecoder (const AVCodecParameters& params)
{
    const AVCodec* codec = ff().avcodec_find_decoder (params.codec_id);
    if (codec == nullptr)
        return {};
    CodecContextPtr ctx (ff().avcodec_alloc_context3 (codec));
    if (ctx == nullptr || ff().avcodec_parameters_to_context (ctx.get(), &params) < 0)
        return {};
    ctx->thread_count = 1;
    // Delay and padding are trimmed by the reader, from the demuxer's records or the
    // decoder's own reports, so the decoder hands over every sample it makes.
    ctx->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    if (ff().avcodec_open2 (ctx.get(), codec, nullptr) < 0)
        return {};
    if (ctx->sample_rate <= 0 || ctx->ch_layout.nb_channels <= 0)
        return {};
    return ctx;
}

// Everything learnt from one pass through the container.
struct DemuxedAudio
{
    std::unique_ptr<AVCodecParameters, CodecParametersDeleter> params;
    CodecContextPtr decoder;
    std::vector<uint8_t> data;
    std::vector<PacketEntry> packets;
    juce::int64 length = 0;
    int sampleRate = 0;
    int numChannels = 0;
    int maxRawSamples = 0;
    // The first packet that the demuxer or decoder found damaged, or -1.
    int damagedPacket = -1;
    // The length the container promises, where it states one (not guessed from the bit rate).
    juce::int64 promisedLength = -1;

    // A packet's bytes, with the zeroed tail decoders may read past the end: from memory, or
    // read again from the file into scratch. Null when the file no longer gives them.
    const uint8_t* bytesOf (const PacketEntry& entry, juce::InputStream& in, std::vector<uint8_t>& scratch) const
    {
        if (entry.filePos < 0)
            return data.data() + entry.dataOffset;
        scratch.assign ((size_t) entry.size + AV_INPUT_BUFFER_PADDING_SIZE, 0);
        const auto here = in.getPosition();
        const bool whole = in.setPosition (entry.filePos) && in.read (scratch.data(), entry.size) == entry.size;
        in.setPosition (here);
        return whole ? scratch.data() : nullptr;
    }
};

// Whether the file holds a packet's bytes as they are at pos: MPEG audio packets are frames
// cut out of the stream, so their bytes need not be kept twice.
bool fileHoldsPacket (juce::InputStream& in, const AVPacket& packet, std::vector<uint8_t>& scratch)
{
    if (packet.pos < 0)
        return false;
    scratch.resize ((size_t) packet.size);
    const auto here = in.getPosition();
    const bool same = in.setPosition (packet.pos) && in.read (scratch.data(), packet.size) == packet.size
                      && std::memcmp (scratch.data(), packet.data, (size_t) packet.size) == 0;
    in.setPosition (here);
    return same;
}

// Sends one packet (or, for null, the end of the stream) and hands every frame it yields to
// onFrame. A decode error loses what is left of the packet and goes no further; the result
// is false when the decoder refused the packet or a frame of it.
template <typename FrameFn>
bool decodeOnePacket (AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame, FrameFn&& onFrame)
{
    bool ok = true;
    auto drain = [&]
    {
        for (int errors = 0;;)
        {
            const int r = ff().avcodec_receive_frame (&decoder, &frame);
            if (r == AVERROR (EAGAIN) || r == AVERROR_EOF)
                return;
            if (r < 0)
            {
                ok = false;
                if (++errors > 16)
                    return;
                continue;
            }
            onFrame (frame);
            ff().av_frame_unref (&frame);
        }
    };

    int sent = ff().avcodec_send_packet (&decoder, packet);
    drain();
    if (sent == AVERROR (EAGAIN))
    {
        sent = ff().avcodec_send_packet (&decoder, packet);
        drain();
    }
    return ok && (sent >= 0 || sent == AVERROR_EOF || sent == AVERROR (EAGAIN));
}

// Places every packet's kept samples on the output's time line. The start skip may span
// several short packets; the end padding belongs to the packet that carries it.
bool trim (DemuxedAudio& out, const std::vector<uint32_t>& skipRecords, const std::vector<uint32_t>& discardRecords)
{
    juce::int64 skipLeft = 0, position = 0;
    for (size_t i = 0; i < out.packets.size(); ++i)
    {
        auto& entry = out.packets[i];
        skipLeft += skipRecords[i];
        entry.skipFront = (int) std::min<juce::int64> (skipLeft, entry.rawSamples);
        skipLeft -= entry.skipFront;
        entry.kept = std::max (0, entry.rawSamples - entry.skipFront - (int) std::min<uint32_t> (discardRecords[i], (uint32_t) entry.rawSamples));
        entry.outStart = position;
        position += entry.kept;
        out.maxRawSamples = std::max (out.maxRawSamples, entry.rawSamples);
    }
    out.length = position;
    return out.length > 0;
}

bool demuxWholeStream (juce::InputStream& in, DemuxedAudio& out)
{
    // Held until every demuxing object below is gone, which the order of declaration ensures.
    const auto formats = ffmpeg::formatLibrary();
    if (formats == nullptr)
        return false;
    keepDemuxer (formats);
    constexpr int ioBufferSize = 1 << 16;
    auto* ioBuffer = static_cast<unsigned char*> (ff().av_malloc (ioBufferSize));
    if (ioBuffer == nullptr)
        return false;
    std::unique_ptr<AVIOContext, IoContextDeleter> io (
        formats->avio_alloc_context (ioBuffer, ioBufferSize, 0, &in, readFromStream, nullptr, seekInStream),
        IoContextDeleter { formats.get() });
    if (io == nullptr)
    {
        ff().av_free (ioBuffer);
        return false;
    }

    AVFormatContext* rawFormat = formats->avformat_alloc_context();
    if (rawFormat == nullptr)
        return false;
    rawFormat->pb = io.get();
    rawFormat->flags |= AVFMT_FLAG_CUSTOM_IO;
    if (formats->avformat_open_input (&rawFormat, "", nullptr, nullptr) < 0)
        return false; // rawFormat has been freed
    std::unique_ptr<AVFormatContext, FormatContextDeleter> format (rawFormat, FormatContextDeleter { formats.get() });

    // Only audio matters; a video stream in .wmv/.asf is never decoded.
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (format->streams[i]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            format->streams[i]->discard = AVDISCARD_ALL;

    if (formats->avformat_find_stream_info (format.get(), nullptr) < 0)
        return false;

    AVStream* stream = nullptr;
    for (unsigned i = 0; i < format->nb_streams && stream == nullptr; ++i)
    {
        AVStream* s = format->streams[i];
        if (s->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && ff().avcodec_find_decoder (s->codecpar->codec_id) != nullptr)
            stream = s;
    }
    if (stream == nullptr)
        return false;
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (format->streams[i] != stream)
            format->streams[i]->discard = AVDISCARD_ALL;

    out.params.reset (ff().avcodec_parameters_alloc());
    if (out.params == nullptr || ff().avcodec_parameters_copy (out.params.get(), stream->codecpar) < 0)
        return false;
    out.decoder = openDecoder (*out.params);
    if (out.decoder == nullptr)
        return false;
    out.sampleRate = out.decoder->sample_rate;
    out.numChannels = out.decoder->ch_layout.nb_channels;
    if (stream->duration > 0 && format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE)
        out.promisedLength = ff().av_rescale_q (stream->duration, stream->time_base, AVRational { 1, out.sampleRate });

    // Read every packet of the stream into memory, with the delay and padding records that
    // the demuxer attaches (for MP3 these come from the LAME/Xing tag).
    std::vector<uint32_t> skipRecords, discardRecords;
    bool demuxerTrims = false;
    const bool framesFromFile = isMpegAudio (out.params->codec_id);
    bool durationsKnown = framesFromFile;
    if (const auto totalBytes = in.getTotalLength(); ! framesFromFile && totalBytes > 0 && format->nb_streams == 1)
        out.data.reserve ((size_t) totalBytes); // an audio file is nearly all packets
    std::vector<uint8_t> scratch;


    std::unique_ptr<AVPacket, PacketDeleter> packet (ff().av_packet_alloc());
    if (packet == nullptr)
        return false;

    for (int failures = 0;;)
    {
        const int r = formats->av_read_frame (format.get(), packet.get());
        if (r == AVERROR_EOF)
            break;
        if (r < 0)
        {
            // Damaged data: go on while the demuxer still moves, up to a point.
            if (out.damagedPacket < 0)
                out.damagedPacket = (int) out.packets.size();
            if (formats->avio_feof (format->pb) || ++failures > 64)
                break;
            continue;
        }
        failures = 0;

        if (packet->stream_index == stream->index && packet->size > 0 && packet->data != nullptr)
        {
            PacketEntry entry;
            entry.dataOffset = out.data.size();
            entry.size = packet->size;
            if (framesFromFile && fileHoldsPacket (in, *packet, scratch))
                entry.filePos = packet->pos;
            else
                out.data.insert (out.data.end(), packet->data, packet->data + packet->size);

            uint32_t skip = 0, discard = 0;
            size_t sideSize = 0;
            if (const uint8_t* side = ff().av_packet_get_side_data (packet.get(), AV_PKT_DATA_SKIP_SAMPLES, &sideSize);
                side != nullptr && sideSize >= 10)
            {
                skip = readLittleEndian32 (side);
                discard = readLittleEndian32 (side + 4);
                demuxerTrims = true;
            }
            skipRecords.push_back (skip);
            discardRecords.push_back (discard);

            if (packet->duration > 0)
                entry.rawSamples = (int) ff().av_rescale_q (packet->duration, stream->time_base,
                                                       AVRational { 1, out.sampleRate });
            if (entry.rawSamples <= 0)
                durationsKnown = false;
            out.packets.push_back (entry);
        }
        ff().av_packet_unref (packet.get());
    }

    if (out.packets.empty())
        return false;

    // MPEG audio packets are whole frames of a known sample count, and its decoder holds
    // nothing back. Anything else is decoded once here to count what each packet yields,
    // which is then what every later read gives; the decoder also tells its own delay (WMA's
    // is two frames) and gives up its last frames at the end of the stream.
    if (! durationsKnown)
    {
        if ((out.decoder->codec->capabilities & AV_CODEC_CAP_DELAY) != 0)
        {
            out.packets.push_back ({ out.data.size(), 0, -1, 0, 0, 0, 0 });
            skipRecords.push_back (0);
            discardRecords.push_back (0);
        }

        std::unique_ptr<AVFrame, FrameDeleter> frame (ff().av_frame_alloc());
        if (frame == nullptr)
            return false;
        for (size_t i = 0; i < out.packets.size(); ++i)
        {
            auto& entry = out.packets[i];
            packet->data = const_cast<uint8_t*> (out.bytesOf (entry, in, scratch));
            packet->size = packet->data != nullptr ? entry.size : 0;
            int samples = 0;
            uint32_t skip = 0, discard = 0;
            const bool missing = entry.size > 0 && packet->data == nullptr;
            const bool decoded = ! missing && decodeOnePacket (*out.decoder, entry.size > 0 ? packet.get() : nullptr, *frame, [&] (const AVFrame& f)
                             {
                                 samples += f.nb_samples;
                                 if (const auto* side = ff().av_frame_get_side_data (&f, AV_FRAME_DATA_SKIP_SAMPLES);
                                     side != nullptr && side->size >= 10)
                                 {
                                     skip += readLittleEndian32 (side->data);
                                     discard += readLittleEndian32 (side->data + 4);
                                 }
                             });
            entry.rawSamples = samples;
            if (! decoded && out.damagedPacket < 0)
                out.damagedPacket = (int) i;
            // The demuxer's records, where it has any, stand in for the decoder's own.
            if (! demuxerTrims)
            {
                skipRecords[i] = skip;
                discardRecords[i] = discard;
            }
        }
        packet->data = nullptr;
        packet->size = 0;
        out.decoder = openDecoder (*out.params);
        if (out.decoder == nullptr)
            return false;
    }

    return trim (out, skipRecords, discardRecords);
}

// A plain layer III file's frames, found without FFmpeg's demuxer: the packets, trims and
// promised length are those the demuxer gives for such a file, so every read is the same.
bool takeMpegFrames (juce::InputStream& in, DemuxedAudio& out)
{
    const auto found = mpegaudio::findFrames (in);
    if (! found)
        return false;

    out.params.reset (ff().avcodec_parameters_alloc());
    if (out.params == nullptr)
        return false;
    out.params->codec_type = AVMEDIA_TYPE_AUDIO;
    out.params->codec_id = AV_CODEC_ID_MP3;
    out.params->sample_rate = found->sampleRate;
    out.params->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    out.params->ch_layout.nb_channels = found->numChannels;
    out.decoder = openDecoder (*out.params);
    if (out.decoder == nullptr)
        return false;
    out.sampleRate = out.decoder->sample_rate;
    out.numChannels = out.decoder->ch_layout.nb_channels;
    out.promisedLength = found->promisedLength;

    const auto count = found->frames.size();
    const juce::int64 frameLength = found->samplesPerFrame;
    std::vector<uint32_t> skipRecords (count, 0), discardRecords (count, 0);
    out.packets.reserve (count);
    for (size_t i = 0; i < count; ++i)
    {
        PacketEntry entry;
        entry.size = found->frames[i].size;
        entry.filePos = found->frames[i].filePos;
        entry.rawSamples = (int) frameLength;
        out.packets.push_back (entry);

        // The padding is counted from the start of the decoded stream, the decoder's delay included.
        const juce::int64 start = (juce::int64) i * frameLength, end = start + frameLength;
        if (found->firstDiscard != 0 && end >= found->firstDiscard && start < found->lastDiscard)
            discardRecords[i] = (uint32_t) std::min (end - found->firstDiscard, frameLength);
    }
    skipRecords[0] = (uint32_t) found->startSkip;
    return trim (out, skipRecords, discardRecords);
}

class FFmpegReader final : public juce::AudioFormatReader, public audiofile::FaultReporting
{
public:
    FFmpegReader (juce::InputStream* in, DemuxedAudio&& demuxed)
        : juce::AudioFormatReader (in, FFmpegAudioFormat::formatName), audio (std::move (demuxed))
    {
        sampleRate = audio.sampleRate;
        numChannels = (unsigned int) audio.numChannels;
        bitsPerSample = 32;
        usesFloatingPointData = true;
        lengthInSamples = audio.length;

        window.setSize (audio.numChannels, std::max (1, audio.maxRawSamples));
        if (audio.damagedPacket >= 0)
            damagedAt = startOf (audio.damagedPacket);
        packet.reset (ff().av_packet_alloc());
        frame.reset (ff().av_frame_alloc());
    }

    ~FFmpegReader() override { ff().av_channel_layout_uninit (&converterLayout); }

    bool isUsable() const { return packet != nullptr && frame != nullptr; }

    std::optional<audiofile::Fault> fault() const override
    {
        if (const auto at = damagedAt.load(); at >= 0)
            return audiofile::Fault { audiofile::Fault::Kind::damaged, at };
        // Less than the container promises, beyond what delay and padding explain.
        const auto slack = std::max<juce::int64> (audio.sampleRate / 2, audio.promisedLength / 100);
        if (audio.promisedLength > lengthInSamples + slack)
            return audiofile::Fault { audiofile::Fault::Kind::truncated, lengthInSamples, audio.promisedLength };
        return {};
    }

    bool readSamples (int* const* destChannels, int numDestChannels, int startOffsetInDestBuffer,
                      juce::int64 startSampleInFile, int numSamples) override
    {
        if (! demuxerReleased.exchange (true))
            releaseDemuxer();
        int done = 0;
        while (done < numSamples)
        {
            const juce::int64 pos = startSampleInFile + done;
            int count = numSamples - done;

            if (pos < 0 || pos >= lengthInSamples)
            {
                if (pos < 0)
                    count = (int) std::min<juce::int64> (count, -pos);
                for (int c = 0; c < numDestChannels; ++c)
                    if (destChannels[c] != nullptr)
                        std::memset (destChannels[c] + startOffsetInDestBuffer + done, 0, sizeof (float) * (size_t) count);
            }
            else
            {
                bringIntoWindow (pos);
                const auto& entry = audio.packets[(size_t) windowPacket];
                const int offset = (int) (pos - entry.outStart);
                count = std::min (count, entry.kept - offset);
                if (count <= 0) // can't happen: packetAt finds the packet that holds pos
                {
                    jassertfalse;
                    count = numSamples - done;
                    for (int c = 0; c < numDestChannels; ++c)
                        if (destChannels[c] != nullptr)
                            std::memset (destChannels[c] + startOffsetInDestBuffer + done, 0, sizeof (float) * (size_t) count);
                    break;
                }
                for (int c = 0; c < numDestChannels; ++c)
                {
                    if (destChannels[c] == nullptr)
                        continue;
                    auto* dest = reinterpret_cast<float*> (destChannels[c] + startOffsetInDestBuffer + done);
                    if (c < audio.numChannels)
                        std::memcpy (dest, window.getReadPointer (c, entry.skipFront + offset), sizeof (float) * (size_t) count);
                    else
                        std::memset (dest, 0, sizeof (float) * (size_t) count);
                }
            }
            done += count;
        }
        return true;
    }

private:
    // Bytes behind a packet that its decode may draw on: MP3's bit reservoir reaches back up
    // to 511 bytes of main data, spread over however many frames hold them.
    static constexpr int reservoirBytes = 1024;

    juce::int64 startOf (int packetIndex) const
    {
        return packetIndex < (int) audio.packets.size() ? audio.packets[(size_t) packetIndex].outStart : audio.length;
    }

    int packetAt (juce::int64 pos) const
    {
        const auto it = std::upper_bound (audio.packets.begin(), audio.packets.end(), pos,
                                          [] (juce::int64 p, const PacketEntry& e) { return p < e.outStart; });
        return (int) (it - audio.packets.begin()) - 1;
    }

    // The packet to start decoding from so that packet k comes out as in a decode from the
    // start: the packet before k must be whole (overlap and synthesis state), and that one
    // needs the reservoir bytes of the packets before it. One more for margin.
    int preRollStart (int k) const
    {
        int s = k - 2;
        if (s <= 0)
            return 0;
        juce::int64 bytes = audio.packets[(size_t) s].size;
        while (s > 0 && bytes < reservoirBytes)
            bytes += audio.packets[(size_t) --s].size;
        return std::max (0, s - 1);
    }

    void bringIntoWindow (juce::int64 pos)
    {
        const int k = packetAt (pos);
        jassert (k >= 0 && audio.packets[(size_t) k].outStart + audio.packets[(size_t) k].kept > pos);
        if (k == windowPacket)
            return;

        const int start = preRollStart (k);
        const bool continueOn = k >= nextToDecode && (k - nextToDecode) <= 2 * (k - start) + 8;
        if (! continueOn)
        {
            // A new decoder rather than a flushed one: some keep overlap state through a flush,
            // and from packet 0 the samples must be those of the first pass.
            if (auto fresh = openDecoder (*audio.params))
                audio.decoder = std::move (fresh);
            else
                ff().avcodec_flush_buffers (audio.decoder.get());
            nextToDecode = start;
        }
        while (nextToDecode < k)
            decodePacket (nextToDecode, false);
        decodePacket (k, true);
    }

    void decodePacket (int index, bool keep)
    {
        const auto& entry = audio.packets[(size_t) index];
        packet->data = const_cast<uint8_t*> (audio.bytesOf (entry, *input, packetBytes));
        packet->size = packet->data != nullptr ? entry.size : 0;
        const AVPacket* toSend = entry.size > 0 ? packet.get() : nullptr;

        int written = 0;
        if (keep)
        {
            window.clear (0, entry.rawSamples);
            windowPacket = -1;
        }
        // A packet the file no longer gives is a gap, and damage.
        const bool missing = entry.size > 0 && packet->data == nullptr;
        const bool decoded = ! missing && decodeOnePacket (*audio.decoder, toSend, *frame, [&] (const AVFrame& f)
                                              {
                                                  if (keep)
                                                      written += place (f, written, entry.rawSamples);
                                              });
        // Packets decoded only to warm the decoder up may miss their bit reservoir: not damage.
        if (keep && ! decoded && (damagedAt < 0 || entry.outStart < damagedAt))
            damagedAt = entry.outStart;
        packet->data = nullptr;
        packet->size = 0;

        nextToDecode = index + 1;
        if (keep)
            windowPacket = index;
    }

    // Copies a decoded frame into the window as float planar, at offset, up to capacity.
    int place (const AVFrame& f, int offset, int capacity)
    {
        const int n = std::min (f.nb_samples, capacity - offset);
        if (n <= 0)
            return 0;
        const int frameChannels = f.ch_layout.nb_channels;
        const int common = std::min (frameChannels, audio.numChannels);

        if (f.format == AV_SAMPLE_FMT_FLTP)
        {
            for (int c = 0; c < common; ++c)
                std::memcpy (window.getWritePointer (c, offset), f.extended_data[c], sizeof (float) * (size_t) n);
            return n;
        }
        if (f.format == AV_SAMPLE_FMT_FLT)
        {
            const auto* src = reinterpret_cast<const float*> (f.extended_data[0]);
            for (int c = 0; c < common; ++c)
            {
                float* dest = window.getWritePointer (c, offset);
                for (int i = 0; i < n; ++i)
                    dest[i] = src[i * frameChannels + c];
            }
            return n;
        }

        if (! prepareConverter (f))
            return n; // left as zeros
        scratch.setSize (frameChannels, n, false, false, true);
        std::vector<uint8_t*> outs ((size_t) frameChannels);
        for (int c = 0; c < frameChannels; ++c)
            outs[(size_t) c] = reinterpret_cast<uint8_t*> (scratch.getWritePointer (c));
        const int converted = ff().swr_convert (converter.get(), outs.data(), n,
                                           const_cast<const uint8_t**> (f.extended_data), f.nb_samples);
        for (int c = 0; c < common && converted > 0; ++c)
            std::memcpy (window.getWritePointer (c, offset), scratch.getReadPointer (c),
                         sizeof (float) * (size_t) std::min (converted, n));
        return n;
    }

    bool prepareConverter (const AVFrame& f)
    {
        if (converter != nullptr && converterFormat == f.format && converterRate == f.sample_rate
            && ff().av_channel_layout_compare (&converterLayout, &f.ch_layout) == 0)
            return true;

        converter.reset();
        ff().av_channel_layout_uninit (&converterLayout);
        if (ff().av_channel_layout_copy (&converterLayout, &f.ch_layout) < 0)
            return false;
        SwrContext* swr = nullptr;
        if (ff().swr_alloc_set_opts2 (&swr, &converterLayout, AV_SAMPLE_FMT_FLTP, f.sample_rate, &converterLayout,
                                 (AVSampleFormat) f.format, f.sample_rate, 0, nullptr) < 0)
            return false;
        converter.reset (swr);
        if (ff().swr_init (swr) < 0)
        {
            converter.reset();
            return false;
        }
        converterFormat = f.format;
        converterRate = f.sample_rate;
        return true;
    }

    DemuxedAudio audio;
    std::unique_ptr<AVPacket, PacketDeleter> packet;
    std::unique_ptr<AVFrame, FrameDeleter> frame;
    std::vector<uint8_t> packetBytes; // a packet read again from the file

    juce::AudioBuffer<float> window; // the decoded samples of packet windowPacket
    int windowPacket = -1;
    int nextToDecode = 0; // the decoder has been fed the packets just before this one

    std::unique_ptr<SwrContext, ResamplerDeleter> converter;
    AVChannelLayout converterLayout {};
    int converterFormat = -1;
    int converterRate = 0;
    juce::AudioBuffer<float> scratch;
    std::atomic<juce::int64> damagedAt { -1 };
    std::atomic<bool> demuxerReleased { false };
};
} // namespace

FFmpegAudioFormat::FFmpegAudioFormat (bool findMpegFramesItself)
    : juce::AudioFormat (juce::String (formatName), juce::StringArray { ".mp3", ".wmv", ".asf", ".wm", ".wma" }),
      findsMpegFramesItself (findMpegFramesItself)
{
}

FFmpegAudioFormat::~FFmpegAudioFormat() = default;

juce::Array<int> FFmpegAudioFormat::getPossibleSampleRates()
{
    return { 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000 };
}

juce::Array<int> FFmpegAudioFormat::getPossibleBitDepths() { return { 32 }; }

juce::AudioFormatReader* FFmpegAudioFormat::createReaderFor (juce::InputStream* sourceStream,
                                                             bool deleteStreamIfOpeningFails)
{
    if (sourceStream == nullptr)
        return nullptr;

    // Without the libraries nothing can be opened here.
    const bool loaded = ffmpeg::library() != nullptr;
    if (loaded)
        keepFFmpegQuiet();

    DemuxedAudio demuxed;
    const auto startPosition = sourceStream->getPosition();
    auto opened = [&]
    {
        if (! loaded)
            return false;
        if (findsMpegFramesItself)
        {
            if (takeMpegFrames (*sourceStream, demuxed))
                return true;
            demuxed = {};
            if (! sourceStream->setPosition (startPosition))
                return false;
        }
        return demuxWholeStream (*sourceStream, demuxed);
    };
    if (opened())
    {
        auto reader = std::make_unique<FFmpegReader> (sourceStream, std::move (demuxed));
        if (reader->isUsable())
            return reader.release();
        reader->input = nullptr; // the stream stays the caller's, as for any failure
    }

    if (deleteStreamIfOpeningFails)
        delete sourceStream;
    else
        sourceStream->setPosition (startPosition);
    return nullptr;
}

juce::AudioFormatWriter* FFmpegAudioFormat::createWriterFor (juce::OutputStream*, double, unsigned int, int,
                                                             const juce::StringPairArray&, int)
{
    return nullptr;
}
