#include "worker/remote_channel.h"

#include <natives/WorkerAnswer.h>

namespace WorkerAnswer = natives::WorkerAnswer;

namespace
{

template <class T> c_message_writer message_of(T dsp_value)
{
    c_message_writer dsl_message;
    dsl_message.put(dsp_value);
    return dsl_message;
}

} // namespace

template <class CHANNEL> int64_t c_remote_channel<CHANNEL>::seek(int64_t ilp_position)
{
    return ask(WorkerAnswer::SEEK, message_of(ilp_position));
}

template class c_remote_channel<ca_byte_source>;
template class c_remote_channel<ca_byte_sink>;

int32_t c_remote_source::read(int32_t imp_wanted)
{
    return static_cast<int32_t>(ask(WorkerAnswer::READ, message_of(imp_wanted)));
}

int64_t c_remote_source::size()
{
    return ask(WorkerAnswer::TOTAL, {});
}

void c_remote_sink::write(int32_t imp_count)
{
    static_cast<void>(ask(WorkerAnswer::WRITE, message_of(imp_count)));
}
