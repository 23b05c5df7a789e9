#include "worker/remote_channel.h"

#include "memory/bytes.h"

#include <natives/WorkerAnswer.h>
#include <natives/c_mediareader_source.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace WorkerAnswer = natives::WorkerAnswer;
namespace c_mediareader_source = natives::c_mediareader_source;

namespace
{

/** The most bytes that are kept. */
constexpr size_t ul_most_kept = size_t{256} * 1024;
/** A number of bytes that no source may return. */
constexpr int32_t im_no_count = 0;

template <class T> c_message_writer message_of(T dsp_value)
{
    c_message_writer dsl_message;
    dsl_message.put(dsp_value);
    return dsl_message;
}

} // namespace

template <class CHANNEL> std::span<uint8_t> c_remote_channel<CHANNEL>::memory() const noexcept
{
    return utc_block.first(std::min(utc_block.size(), size_t{c_mediareader_source::BUFFER_SIZE}));
}

template <class CHANNEL> int64_t c_remote_channel<CHANNEL>::seek(int64_t ilp_position)
{
    return ask(WorkerAnswer::SEEK, message_of(ilp_position));
}

template class c_remote_channel<ca_byte_source>;
template class c_remote_channel<ca_byte_sink>;

/** Another order may find other bytes, and those of a file behind what was its end. */
void c_remote_source::forget_old()
{
    if (std::exchange(ulc_order, dsc_lane.order_number()) == dsc_lane.order_number())
        return;
    if (!bc_file)
        utc_kept.clear();
    ilc_size.reset();
    ilc_end.reset();
}

bool c_remote_source::keeps(int64_t ilp_position) const noexcept
{
    return ilp_position >= ilc_first_kept && ilp_position < ilc_first_kept + std::ssize(utc_kept);
}

/** Keeps bytes from here on. */
void c_remote_source::keep(std::span<const uint8_t> utp_bytes)
{
    if (ilc_position != ilc_first_kept + std::ssize(utc_kept) || utc_kept.size() + utp_bytes.size() > ul_most_kept) {
        utc_kept.clear();
        ilc_first_kept = ilc_position;
    }
    utc_kept.insert(utc_kept.end(), utp_bytes.begin(), utp_bytes.end());
}

/** Has bytes read into the block, and keeps them. @param ilp_place where, or NEXT */
int32_t c_remote_source::read_block(int64_t ilp_place, int32_t imp_wanted)
{
    c_message_writer dsl_message = message_of(imp_wanted);
    dsl_message.put(ilp_place);
    const auto iml_count = static_cast<int32_t>(ask(WorkerAnswer::READ, dsl_message));
    if (iml_count == c_mediareader_source::END)
        ilc_end = ilc_position;
    else if (iml_count > 0 && iml_count <= imp_wanted)
        keep(block().first(static_cast<size_t>(iml_count)));
    return iml_count;
}

int32_t c_remote_source::ask_for_bytes(int32_t imp_wanted)
{
    if (ilc_position_of_caller != ilc_position) {
        ilc_position_of_caller = c_remote_channel::seek(ilc_position);
        if (ilc_position_of_caller != ilc_position)
            return im_no_count;
    }
    const int32_t iml_count = read_block(c_mediareader_source::NEXT, imp_wanted);
    ilc_position_of_caller += std::max(iml_count, 0);
    return iml_count;
}

/** Asks for more each time, as long as that is where the last bytes ended. */
int32_t c_remote_source::ask_file(int32_t imp_wanted)
{
    const bool bl_goes_on = imc_ahead > 0 && ilc_position == ilc_first_kept + std::ssize(utc_kept);
    imc_ahead = bl_goes_on ? std::min(2 * imc_ahead, static_cast<int32_t>(block().size())) : 0;
    imc_ahead = std::max(imc_ahead, imp_wanted);
    const int32_t iml_count = read_block(ilc_position, imc_ahead);
    return iml_count > imc_ahead ? im_no_count : std::min(iml_count, imp_wanted);
}

int32_t c_remote_source::read(int32_t imp_wanted)
{
    forget_old();
    int32_t iml_count = 0;
    if (keeps(ilc_position)) {
        const auto utl_kept = std::span(utc_kept).subspan(static_cast<size_t>(ilc_position - ilc_first_kept));
        iml_count = static_cast<int32_t>(std::min(utl_kept.size(), static_cast<size_t>(imp_wanted)));
        copy_bytes(utl_kept.first(static_cast<size_t>(iml_count)), memory());
    } else if (ilc_end == ilc_position) {
        return c_mediareader_source::END;
    } else {
        iml_count = bc_file ? ask_file(imp_wanted) : ask_for_bytes(imp_wanted);
    }
    ilc_position += std::max(iml_count, 0);
    return iml_count;
}

int64_t c_remote_source::seek(int64_t ilp_position)
{
    forget_old();
    if (bc_file)
        return ilc_position = ilp_position; // the next question states the place
    if (!keeps(ilp_position) && ilc_end != ilp_position)
        ilc_position_of_caller = c_remote_channel::seek(ilp_position);
    ilc_position = ilp_position;
    return keeps(ilp_position) || ilc_end == ilp_position ? ilp_position : ilc_position_of_caller;
}

int64_t c_remote_source::size()
{
    forget_old();
    if (!ilc_size)
        ilc_size = ask(WorkerAnswer::TOTAL, {});
    return *ilc_size;
}

void c_remote_sink::write(int32_t imp_count)
{
    static_cast<void>(ask(WorkerAnswer::WRITE, message_of(imp_count)));
}
