/* maker_audio_ogg: Ogg Vorbis. The packets are kept apart from their pages, so that the comments
 * can be other ones for each file made of them. */
#include "tests/makers/maker_audio_private.h"

#include <vorbis/vorbisenc.h>

static std::string bytes_of(const ogg_packet &packet)
{
    return {reinterpret_cast<const char *>(packet.packet), static_cast<size_t>(packet.bytes)};
}

static void take_packets(vorbis_dsp_state *dsp, vorbis_block *block, maker_body &body)
{
    while (vorbis_analysis_blockout(dsp, block) == 1) {
        vorbis_analysis(block, nullptr);
        vorbis_bitrate_addblock(block);
        ogg_packet packet;
        while (vorbis_bitrate_flushpacket(dsp, &packet))
            body.packets.push_back({bytes_of(packet), packet.granulepos});
    }
}

static void encode_sound(vorbis_dsp_state *dsp, vorbis_block *block, const maker_sound &sound,
                         maker_body &body)
{
    constexpr int64_t part = 4096;
    for (int64_t at = 0; at < sound.frames; at += part) {
        const int count = static_cast<int>(std::min(part, sound.frames - at));
        float **to = vorbis_analysis_buffer(dsp, count);
        for (int i = 0; i < count; i++)
            for (int channel = 0; channel < sound.channels; channel++)
                to[channel][i] = sound.sample(at + i, channel);
        vorbis_analysis_wrote(dsp, count);
        take_packets(dsp, block, body);
    }
    vorbis_analysis_wrote(dsp, 0);
    take_packets(dsp, block, body);
}

maker_body maker_ogg_body(const maker_sound &sound, const maker_ogg &how)
{
    maker_body body;
    vorbis_info info;
    vorbis_info_init(&info);
    if (vorbis_encode_init_vbr(&info, sound.channels, static_cast<long>(sound.rate), how.quality) ==
        0) {
        vorbis_dsp_state dsp;
        vorbis_block block;
        vorbis_comment comment;
        ogg_packet id, comments, setup;
        vorbis_analysis_init(&dsp, &info);
        vorbis_block_init(&dsp, &block);
        vorbis_comment_init(&comment);
        vorbis_analysis_headerout(&dsp, &comment, &id, &comments, &setup);
        body.ogg_id = bytes_of(id);
        body.ogg_setup = bytes_of(setup);
        encode_sound(&dsp, &block, sound, body);
        body.ready = true;
        vorbis_comment_clear(&comment);
        vorbis_block_clear(&block);
        vorbis_dsp_clear(&dsp);
    }
    vorbis_info_clear(&info);
    return body;
}

static void add_page(const ogg_page &page, std::string &out)
{
    out.append(reinterpret_cast<const char *>(page.header), static_cast<size_t>(page.header_len));
    out.append(reinterpret_cast<const char *>(page.body), static_cast<size_t>(page.body_len));
}

static void put_packet(ogg_stream_state *stream, const std::string &bytes, int64_t number,
                       int64_t granule, bool last)
{
    std::string copy = bytes;
    ogg_packet packet = {.packet = reinterpret_cast<unsigned char *>(copy.data()),
                         .bytes = static_cast<long>(copy.size()),
                         .b_o_s = number == 0,
                         .e_o_s = last,
                         .granulepos = granule,
                         .packetno = number};
    ogg_stream_packetin(stream, &packet);
}

static std::string comment_packet(const maker_tags &tags)
{
    vorbis_comment comment;
    vorbis_comment_init(&comment);
    for (const auto &field : maker_comments(tags))
        vorbis_comment_add_tag(&comment, field.first.c_str(), field.second.c_str());
    ogg_packet packet;
    vorbis_commentheader_out(&comment, &packet);
    const std::string bytes = bytes_of(packet);
    ogg_packet_clear(&packet);
    vorbis_comment_clear(&comment);
    return bytes;
}

std::string maker_ogg_wrap(const maker_body &body, const maker_ogg &how, const maker_tags &tags)
{
    std::string out;
    if (!body.ready)
        return out;
    ogg_stream_state stream;
    ogg_page page;
    ogg_stream_init(&stream, static_cast<int>(how.serial));
    put_packet(&stream, body.ogg_id, 0, 0, false);
    while (ogg_stream_flush(&stream, &page))
        add_page(page, out);
    put_packet(&stream, comment_packet(tags), 1, 0, false);
    put_packet(&stream, body.ogg_setup, 2, 0, false);
    while (ogg_stream_flush(&stream, &page))
        add_page(page, out);
    for (size_t i = 0; i < body.packets.size(); i++) {
        const bool last = i + 1 == body.packets.size();
        put_packet(&stream, body.packets[i].bytes, static_cast<int64_t>(i) + 3,
                   body.packets[i].granule, last);
        const bool full =
            how.packets_a_page > 0 && (i + 1) % static_cast<size_t>(how.packets_a_page) == 0;
        while (full || last ? ogg_stream_flush(&stream, &page) : ogg_stream_pageout(&stream, &page))
            add_page(page, out);
    }
    ogg_stream_clear(&stream);
    return out;
}
