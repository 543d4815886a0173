#pragma once

// How a result is laid out in the one block that the caller frees.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

#include "kvtip/encoding.h"

namespace kvtip::library {

/// A block that the same code lays out twice: first to measure it, then to fill it.
class block {
public:
    block() = default;

    /// Whether nothing is written yet: what `array` returns is null then.
    bool is_measuring() const { return base_ == nullptr; }

    /// Room for so many values, all zero.
    template <class T>
    T* array(std::size_t count) {
        static_assert(std::is_trivially_copyable_v<T> && alignof(T) <= alignof(std::max_align_t));
        used_ = (used_ + alignof(T) - 1) / alignof(T) * alignof(T);
        T* place = is_measuring() ? nullptr : reinterpret_cast<T*>(base_ + used_);
        used_ += count * sizeof(T); // NOLINT(bugprone-sizeof-expression): of a pointer in the table of rows
        return place;
    }

    /// The text in UTF-8, with its terminating zero; one shared empty text for null.
    const char* text(const wchar_t* wide) { return wide == nullptr ? "" : text(std::wstring_view(wide)); }
    const char* text(std::wstring_view wide) {
        if (wide.empty()) {
            return "";
        }
        char* place = array<char>(utf8_size(wide) + 1);
        if (place != nullptr) {
            *write_utf8(wide, place) = 0;
        }
        return place;
    }
    const char* text(std::string_view utf8) {
        if (utf8.empty()) {
            return "";
        }
        char* place = array<char>(utf8.size() + 1);
        if (place != nullptr) {
            utf8.copy(place, utf8.size());
        }
        return place;
    }

    /// A list of `count` rows. `fill(add)` calls `add()` that many times; each returns the next row, all
    /// zero, or a row that is dropped while the block is measured. For rows that own nothing, `fill` is not
    /// called then.
    template <class List, class Fill>
    void list(List& list, std::size_t count, Fill fill) {
        add_rows<true>(list, count, fill);
    }
    template <class List, class Fill>
    void flat_list(List& list, std::size_t count, Fill fill) {
        add_rows<false>(list, count, fill);
    }

    /// Makes a result: `layout(block&, Result&)` fills it, and runs twice. Throws `std::bad_alloc`.
    template <class Result, class Layout>
    static const Result* make(Layout layout) {
        block plan;
        plan.array<Result>(1);
        Result scratch{};
        layout(plan, scratch);
        // Zeros from the system cost nothing for a large block.
        std::unique_ptr<std::byte, freer> memory(static_cast<std::byte*>(std::calloc(1, plan.used_)));
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        block result(memory.get());
        auto* whole = result.array<Result>(1);
        layout(result, *whole);
        static_cast<void>(memory.release()); // the result is at its beginning
        return whole;
    }

    /// Makes a result that is text alone. Throws `std::bad_alloc`.
    static const char* make_text(std::wstring_view wide) {
        auto* text = static_cast<char*>(std::malloc(utf8_size(wide) + 1));
        if (text == nullptr) {
            throw std::bad_alloc();
        }
        *write_utf8(wide, text) = 0;
        return text;
    }

private:
    struct freer {
        void operator()(std::byte* memory) const noexcept { std::free(memory); }
    };

    explicit block(std::byte* base) : base_(base) {}

    template <bool Measured, class List, class Fill>
    void add_rows(List& list, std::size_t count, Fill& fill) {
        using row = std::remove_cvref_t<decltype(**list.rows)>;
        auto** table = array<const row*>(count);
        auto* next = array<row>(count);
        list.rows = table;
        list.count = count;
        list.row_size = sizeof(row);
        if (is_measuring()) {
            if constexpr (Measured) {
                row scratch;
                fill([&]() -> row& { return scratch = {}; });
            }
            return;
        }
        fill([&]() -> row& { return *next++; });
        for (std::size_t i = 0; i < count; ++i) {
            table[i] = next - count + i;
        }
    }

    std::byte* base_ = nullptr;
    std::size_t used_ = 0;
};

} // namespace kvtip::library
