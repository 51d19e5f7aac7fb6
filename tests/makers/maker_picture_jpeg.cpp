/* maker_picture_jpeg: JPEG files of every kind that covers come in. */
#include "tests/makers/maker_picture_private.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

static void on_error(j_common_ptr jpeg)
{
    char message[JMSG_LENGTH_MAX];
    jpeg->err->format_message(jpeg, message);
    maker_picture_fail(message);
}

static bool has_inks(maker_jpeg_kind kind)
{
    return kind == maker_jpeg_kind::cmyk || kind == maker_jpeg_kind::ycck;
}

/* Four inks, black taken out of the others as far as it goes. */
static void append_inks(maker_bytes *row, uint32_t argb, bool inverted)
{
    const int red = static_cast<int>(argb >> 16 & 0xFF);
    const int green = static_cast<int>(argb >> 8 & 0xFF);
    const int blue = static_cast<int>(argb & 0xFF);
    const int white = std::max({red, green, blue, 1});
    const int inks[] = {255 - red * 255 / white, 255 - green * 255 / white,
                        255 - blue * 255 / white, 255 - white};
    for (const int ink : inks)
        row->push_back(static_cast<uint8_t>(inverted ? 255 - ink : ink));
}

static maker_bytes row_of(const maker_picture &picture, int y, const maker_jpeg_options &options)
{
    maker_bytes row;
    for (int x = 0; x < picture.width; x++) {
        const uint32_t argb = picture.at(x, y);
        if (has_inks(options.kind))
            append_inks(&row, argb, options.adobe);
        else
            row.insert(row.end(), {static_cast<uint8_t>(argb >> 16),
                                   static_cast<uint8_t>(argb >> 8), static_cast<uint8_t>(argb)});
    }
    return row;
}

static void set_colours(jpeg_compress_struct *jpeg, const maker_jpeg_options &options)
{
    jpeg->input_components = has_inks(options.kind) ? 4 : 3;
    jpeg->in_color_space = has_inks(options.kind) ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(jpeg);
    if (options.kind == maker_jpeg_kind::grey)
        jpeg_set_colorspace(jpeg, JCS_GRAYSCALE);
    if (options.kind == maker_jpeg_kind::ycck)
        jpeg_set_colorspace(jpeg, JCS_YCCK);
    if (has_inks(options.kind))
        jpeg->write_Adobe_marker = options.adobe;
    if (options.full_chroma)
        jpeg->comp_info[0].h_samp_factor = jpeg->comp_info[0].v_samp_factor = 1;
    if (options.full_chroma && options.kind == maker_jpeg_kind::ycck)
        jpeg->comp_info[3].h_samp_factor = jpeg->comp_info[3].v_samp_factor = 1;
}

maker_bytes maker_jpeg(const maker_picture &picture, const maker_jpeg_options &options)
{
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    errors.error_exit = on_error;
    jpeg_create_compress(&jpeg);
    unsigned char *memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &memory, &size);
    jpeg.image_width = static_cast<JDIMENSION>(picture.width);
    jpeg.image_height = static_cast<JDIMENSION>(picture.height);
    set_colours(&jpeg, options);
    jpeg_set_quality(&jpeg, options.quality, TRUE);
    if (options.progressive)
        jpeg_simple_progression(&jpeg);
    jpeg.restart_in_rows = options.restart_every;
    jpeg_start_compress(&jpeg, TRUE);
    for (int y = 0; y < picture.height; y++) {
        maker_bytes row = row_of(picture, y, options);
        JSAMPROW pointer = row.data();
        (void)jpeg_write_scanlines(&jpeg, &pointer, 1); /* ends the program when it fails */
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    const maker_bytes bytes(memory, memory + size);
    free(memory);
    return bytes;
}
