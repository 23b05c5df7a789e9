/** @file Memory for pictures that Java owns and all threads of a decoder use. */
#pragma once

#include "kivjniffmpeg/formats/picture_layout.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

/**
 * The blocks of memory that one decoder may use for its pictures.
 *
 * Java adds blocks before it has a packet decoded, and keeps each one reachable until the stock has released it. So no
 * thread of FFmpeg ever needs Java. Without a block that is large enough a picture lies in native memory, and is copied
 * into a block when it is delivered.
 *
 * provide() and release() are called on any thread, the rest on the thread that runs the codec. The lock is never held
 * while another thread is waited for.
 */
class c_picture_stock
{
public:
    struct dsd_free
    {
        void operator()(uint8_t *autp_memory) const noexcept { std::free(autp_memory); }
    };

    /** A piece of memory, and who uses it. */
    struct dsd_block
    {
        c_picture_stock *adsc_stock;
        uint8_t *autc_memory;
        int32_t imc_size;
        int32_t imc_slot;                /**< Java's number of the block; im_native for native memory */
        bool bc_used = false;            /**< FFmpeg refers to it */
        bool bc_delivered = false;       /**< Java has a picture in it that it has not closed */
        uint8_t *autc_palette = nullptr; /**< the second plane when there are two: also without a use */
        std::unique_ptr<uint8_t, dsd_free> autc_native{}; /**< of im_native */
    };

    static constexpr int32_t im_native = -1;

    c_picture_stock();
    ~c_picture_stock();
    c_picture_stock(const c_picture_stock &) = delete;
    c_picture_stock &operator=(const c_picture_stock &) = delete;

    /** Adds a block, which Java keeps until release_slots() names it. @throws std::bad_alloc */
    void add(int32_t imp_slot, uint8_t *autp_memory, int32_t imp_size);

    /** @param imp_limit the most free blocks that wanted() asks for */
    void set_limit(int32_t imp_limit) noexcept { imc_limit = imp_limit; }

    /**
     * Keeps the blocks of delivered pictures that FFmpeg has released, so that they serve again when Java closes the
     * pictures. Otherwise these blocks are only Java's at once.
     *
     * @param imp_ahead how many pictures Java has decoded at a time; it closes as many at a time
     */
    void keep_delivered(int32_t imp_ahead) noexcept { imc_ahead = imp_ahead; }

    /** How many more blocks the decoder should have, each of wanted_size() bytes; below 0, so many are left over. */
    int32_t wanted() const;
    int32_t wanted_size() const;

    /** Java has closed the picture in the block, which serves the next picture when FFmpeg does not use it either. */
    void close(int32_t imp_slot);

    /** Writes the slots of blocks that are only Java's from now on. @return how many */
    size_t release_slots(std::span<int32_t> aimp_slots);

    /**
     * Gives memory to a frame whose size and format are set. The frame's buffer releases it.
     *
     * @return 0 or an FFmpeg error
     * @throws std::bad_alloc
     */
    int provide(AVCodecContext &dsp_context, AVFrame &dsp_frame);

    /** The block that a frame's picture lies in, if it is all within it; else null. */
    dsd_block *find(const AVFrame &dsp_frame) const;

    /** Where Java finds a picture. */
    struct dsd_place
    {
        int32_t imc_slot;
        const uint8_t *autc_memory;
    };

    /**
     * Delivers the picture in a block of Java's, which FFmpeg and Java share from then on.
     *
     * @param dsp_planes gets the palette that no pixel needs, if newer FFmpegs left it out
     */
    dsd_place deliver(dsd_block &dsp_block, AVFrame &dsp_planes);

    /**
     * Copies a picture into a block of Java's, top-down, and delivers it. The block is released at once.
     *
     * @param dsp_layout the frame's, of layout_of()
     * @param dsp_to gets the planes and line sizes
     * @return nothing when no block is large enough
     */
    std::optional<dsd_place> deliver_copy(const AVFrame &dsp_from, const dsd_picture_layout &dsp_layout,
                                          AVFrame &dsp_to);

    /** How a picture of the frame's size and format is laid out; nothing when it cannot be. */
    std::optional<dsd_picture_layout> layout_of(AVCodecContext &dsp_context, const AVFrame &dsp_frame);

private:
    struct dsd_known_layout
    {
        int inc_format;
        int inc_width;
        int inc_height;
        dsd_picture_layout dsc_layout;
    };

    /** More free blocks than wanted() asks for return to Java, but not those of a few pictures that come and go. */
    static constexpr int32_t im_surplus = 2;
    /** Some are in work, some on their way to Java, and some Java has not closed yet. */
    static constexpr int32_t im_kept_of_each_ahead = 3;

    using dsd_blocks = std::vector<std::unique_ptr<dsd_block>>;

    dsd_block *take(int32_t imp_size);
    dsd_block *take_native(int32_t imp_size);
    int32_t free_blocks() const noexcept;
    int32_t kept_blocks() const noexcept;
    static void release(void *avp_block, uint8_t *autp_data) noexcept;
    void release(dsd_block &dsp_block) noexcept;
    void settle(dsd_blocks::iterator dsp_place) noexcept;
    void give_back(dsd_blocks::iterator dsp_place) noexcept;

    mutable std::mutex dsc_mutex;
    dsd_blocks dsc_blocks;              // the one that was released or closed last stands last
    std::vector<int32_t> aimc_released; // has room for all slots
    std::vector<dsd_known_layout> dsc_layouts;
    int32_t imc_limit = 2;
    int32_t imc_ahead = 0;
    int32_t imc_target = 1; // free blocks, so that none is missing
    int32_t imc_wanted_size = 0;
};
