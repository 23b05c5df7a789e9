/** @file The values of an order and of its answer, one after the other. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/**
 * Takes values out of a copy of a message: what the other side changes afterwards is not seen. It has the copy, or somebody else
 * keeps it meanwhile.
 *
 * A list is an int32_t, its number of elements, and the elements; -1 elements stand for none.
 */
class c_message_reader
{
public:
    explicit c_message_reader(std::vector<uint8_t> utp_bytes) noexcept
        : utc_own(std::move(utp_bytes)), utc_bytes(utc_own)
    {
    }
    explicit c_message_reader(std::span<uint8_t> utp_bytes) noexcept : utc_bytes(utp_bytes) {}
    ~c_message_reader() = default;
    c_message_reader(c_message_reader &&) noexcept = default; // bytes of a vector stay where they are
    c_message_reader &operator=(c_message_reader &&) noexcept = default;
    c_message_reader(const c_message_reader &) = delete;
    c_message_reader &operator=(const c_message_reader &) = delete;

    /** Whether nothing is left. */
    bool empty() const noexcept { return ulc_at == utc_bytes.size(); }

    /** The next number. @throws std::out_of_range when the message ends before it */
    template <class T>
    requires std::is_arithmetic_v<T> T take()
    {
        T dsl_value{};
        std::memcpy(&dsl_value, next(sizeof(T)).data(), sizeof(T));
        return dsl_value;
    }

    /** The next list of bytes, which lies in the message. It may be written to. */
    std::span<uint8_t> take_bytes() { return next(take_count(1)); }

    /** The next text. */
    std::string take_text()
    {
        const auto utl_bytes = take_bytes();
        return {utl_bytes.begin(), utl_bytes.end()};
    }

    /** The next list of numbers, which must have as many as there is room for. */
    template <class T> void take_all(std::span<T> dsp_to)
    {
        if (take_count(sizeof(T)) != dsp_to.size_bytes())
            throw std::out_of_range("a list of another length");
        std::memcpy(dsp_to.data(), next(dsp_to.size_bytes()).data(), dsp_to.size_bytes());
    }

private:
    size_t take_count(size_t ulp_element)
    {
        const auto iml_count = take<int32_t>();
        return iml_count < 0 ? 0 : static_cast<size_t>(iml_count) * ulp_element;
    }

    std::span<uint8_t> next(size_t ulp_length)
    {
        if (ulp_length > utc_bytes.size() - ulc_at)
            throw std::out_of_range("the message ends too early");
        const auto utl_part = utc_bytes.subspan(ulc_at, ulp_length);
        ulc_at += ulp_length;
        return utl_part;
    }

    std::vector<uint8_t> utc_own;
    std::span<uint8_t> utc_bytes;
    size_t ulc_at = 0;
};

/** The most memory of a message that the next one uses again: a large packet's is given back. */
constexpr size_t ul_most_kept_bytes = size_t{1} << 20U;

/** Collects the values of a message. */
class c_message_writer
{
public:
    template <class T>
    requires std::is_arithmetic_v<T>
    void put(T dsp_value) { append(&dsp_value, sizeof dsp_value); }

    /** A list of numbers. */
    template <class T> void put_all(std::span<const T> dsp_values)
    {
        put(static_cast<int32_t>(dsp_values.size()));
        append(dsp_values.data(), dsp_values.size_bytes());
    }
    void put_none() { put(int32_t{-1}); }

    /** A text; none for null. */
    void put_text(const char *strp_text)
    {
        if (strp_text == nullptr)
            put_none();
        else
            put_text(std::string_view(strp_text));
    }
    void put_text(std::string_view strp_text) { put_all(std::span(strp_text)); }

    /** Begins a list of bytes, which what is put next makes up. @return for end_list() */
    size_t begin_list()
    {
        put_none();
        return utc_bytes.size();
    }
    void end_list(size_t ulp_begin) noexcept
    {
        const auto iml_length = static_cast<int32_t>(utc_bytes.size() - ulp_begin);
        std::memcpy(utc_bytes.data() + ulp_begin - sizeof iml_length, &iml_length, sizeof iml_length);
    }

    std::span<const uint8_t> bytes() const noexcept { return utc_bytes; }
    /** Forgets all values, and gives much memory back. */
    void begin_anew() noexcept
    {
        if (utc_bytes.capacity() > ul_most_kept_bytes)
            utc_bytes = {};
        utc_bytes.clear();
    }
    /** Forgets the values, or those behind so many bytes. The memory is used again. */
    void clear(size_t ulp_rest = 0) noexcept
    {
        utc_bytes.erase(utc_bytes.begin() + static_cast<ptrdiff_t>(ulp_rest), utc_bytes.end());
    }

private:
    void append(const void *avp_from, size_t ulp_length)
    {
        if (ulp_length == 0)
            return; // an empty list may have no address
        const auto *autl_from = static_cast<const uint8_t *>(avp_from);
        utc_bytes.insert(utc_bytes.end(), autl_from, autl_from + ulp_length);
    }

    std::vector<uint8_t> utc_bytes;
};
