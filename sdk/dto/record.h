#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "sdk/dto/box.h"
#include "sdk/dto/dto_base.h"
#include "sdk/json/json_adders.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/uuid.h"

namespace tarsion {

// Field kinds of a record. Every field but a nested record is a std::optional
// (present flag plus value), so a list or a text can be present and empty; a
// nested record is a box, present when it holds one.
using text_map = std::map<std::string, std::string>;

using text_field = std::optional<std::string>;
using uuid_field = std::optional<uuid>;
using int64_field = std::optional<std::int64_t>;
using bool_field = std::optional<bool>;
using text_map_field = std::optional<text_map>;
template <class T>
using list_field = std::optional<std::vector<T>>;
template <class T>
using nested_field = box<T>;

// One row of a record's field table: the JSON key and the member it maps to.
template <class Record, class Field>
struct field_entry
{
    const char* key;
    Field Record::*member;
};

template <class Record, class Field>
constexpr field_entry<Record, Field> field(const char* key, Field Record::*member)
{
    return {key, member};
}

namespace detail {

// Writing one present value under its key, by kind.
inline bool add_member(json_node& o, const char* key, const std::string& v)
{
    return add_string(o, key, v);
}
inline bool add_member(json_node& o, const char* key, const uuid& v)
{
    return add_uuid(o, key, v);
}
inline bool add_member(json_node& o, const char* key, std::int64_t v)
{
    return add_int64(o, key, v);
}
inline bool add_member(json_node& o, const char* key, bool v)
{
    return add_bool(o, key, v);
}
inline bool add_member(json_node& o, const char* key, const text_map& v)
{
    return add_map(o, key, v);
}
template <class T>
bool add_member(json_node& o, const char* key, const std::vector<T>& v)
{
    return add_list(o, key, v);
}

// Reading one found member into a value, by kind.
inline bool read_member(const json_node& m, std::string& v)
{
    return get_string(m, nullptr, v);
}
inline bool read_member(const json_node& m, uuid& v)
{
    return get_uuid(m, nullptr, v);
}
inline bool read_member(const json_node& m, std::int64_t& v)
{
    return get_int64(m, nullptr, v);
}
inline bool read_member(const json_node& m, bool& v)
{
    return get_bool(m, nullptr, v);
}
inline bool read_member(const json_node& m, text_map& v)
{
    return get_map(m, nullptr, v);
}
template <class T>
bool read_member(const json_node& m, std::vector<T>& v)
{
    return get_list(m, nullptr, v);
}

template <class T>
bool write_field(json_node& object, const char* key, const std::optional<T>& f)
{
    return add_member(object, key, *f);
}

template <class T>
bool write_field(json_node& object, const char* key, const box<T>& f)
{
    return add_record(object, key, *f);
}

template <class T>
bool read_field(const json_node& member, std::optional<T>& f)
{
    return read_member(member, f.emplace());
}

template <class T>
bool read_field(const json_node& member, box<T>& f)
{
    T& nested = f.emplace();
    // Anything but an object reads as a nested record with nothing present.
    return !member.is_object || nested.from_json(member);
}

template <class Record, class Field>
void write_entry(const Record& record, const field_entry<Record, Field>& entry, json_node& object, bool& ok)
{
    const Field& f = record.*entry.member;
    // After the first failure the remaining fields are walked but not written.
    if (!ok || !f.has_value())
        return;
    ok = write_field(object, entry.key, f);
}

template <class Record, class Field>
void read_entry(Record& record, const field_entry<Record, Field>& entry, const json_node* member, bool& ok)
{
    Field& f = record.*entry.member;
    f.reset();
    // After the first failure, found members are ignored: those fields stay
    // absent.
    if (member == nullptr || !ok)
        return;
    ok = read_field(*member, f);
}

// The JSON keys of a field table, in its order.
template <class Table>
constexpr auto table_keys(const Table& table)
{
    return std::apply(
        [](const auto&... entry) {
            return std::array<std::string_view, sizeof...(entry)>{std::string_view(entry.key)...};
        },
        table);
}

// Members are looked up ignoring case, so no two keys of one record may
// differ only in case.
template <std::size_t N>
constexpr bool keys_distinct_ignoring_case(const std::array<std::string_view, N>& keys)
{
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = i + 1; j < N; ++j) {
            if (equals_ignoring_ascii_case(keys[i], keys[j]))
                return false;
        }
    }
    return true;
}

} // namespace detail

// The base of a concrete record. `Derived` lists its fields once, in
// declaration order, in `static constexpr auto fields()`; reading and writing
// walk that table.
template <class Derived>
class record : public dto_base
{
public:
    bool from_json(const json_node& object) override
    {
        static constexpr auto keys = detail::table_keys(Derived::fields());
        static_assert(detail::keys_distinct_ignoring_case(keys), "two keys differ only in case");
        std::array<const json_node*, keys.size()> members;
        find_children(object, keys, members);

        auto& self = static_cast<Derived&>(*this);
        bool ok = true;
        std::size_t index = 0;
        std::apply(
            [&](const auto&... entry) { (detail::read_entry(self, entry, members[index++], ok), ...); },
            Derived::fields());
        return ok;
    }

    bool to_json(json_node& object) const override
    {
        const auto& self = static_cast<const Derived&>(*this);
        bool ok = true;
        std::apply([&](const auto&... entry) { (detail::write_entry(self, entry, object, ok), ...); },
                   Derived::fields());
        return ok;
    }

protected:
    record() = default;
};

} // namespace tarsion
