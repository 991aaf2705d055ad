#pragma once

#include <initializer_list>
#include <type_traits>
#include <vector>

namespace Qv {

/// Growable contiguous array, the list type of the library's interfaces.
///
/// Names, complexity, iterator invalidation and exception guarantees are those of `std::vector`.
/// Insertion order is kept. `operator[]`, `front` and `back` are unchecked. Not thread-safe.
/// `QvArray<bool>` is refused: it could not be contiguous.
template <typename T>
class QvArray : private std::vector<T> {
    static_assert(!std::is_same_v<T, bool>, "QvArray<bool> would not be contiguous; use QvArray<char>");
    using Base = std::vector<T>;

public:
    using typename Base::const_iterator;
    using typename Base::const_pointer;
    using typename Base::const_reference;
    using typename Base::const_reverse_iterator;
    using typename Base::difference_type;
    using typename Base::iterator;
    using typename Base::pointer;
    using typename Base::reference;
    using typename Base::reverse_iterator;
    using typename Base::size_type;
    using typename Base::value_type;

    using Base::Base;
    QvArray() = default;
    QvArray(std::initializer_list<T> values) : Base(values) {}

    using Base::assign;
    using Base::at;
    using Base::back;
    using Base::begin;
    using Base::capacity;
    using Base::cbegin;
    using Base::cend;
    using Base::clear;
    using Base::data;
    using Base::emplace_back;
    using Base::empty;
    using Base::end;
    using Base::erase;
    using Base::front;
    using Base::insert;
    using Base::pop_back;
    using Base::push_back;
    using Base::rbegin;
    using Base::rend;
    using Base::reserve;
    using Base::resize;
    using Base::shrink_to_fit;
    using Base::size;
    using Base::operator[];

    void swap(QvArray& other) noexcept { Base::swap(other); }

    friend bool operator==(const QvArray& a, const QvArray& b) {
        return static_cast<const Base&>(a) == static_cast<const Base&>(b);
    }
    friend bool operator!=(const QvArray& a, const QvArray& b) { return !(a == b); }
};

}  // namespace Qv
