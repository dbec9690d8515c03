#pragma once

#include <string>
#include <vector>

#include "sdk/dto/record.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace tarsion::testing {

// Parses `text` (which must be valid) and reads it into `record`.
template <class Record>
bool read(Record& record, const std::string& text)
{
    json_node root;
    if (!parse_json(text, root))
        throw std::invalid_argument("test input is not JSON: " + text);
    return record.from_json(root);
}

// Writes `record` into a fresh object and returns it as compact text;
// `ok` receives to_json's result.
inline std::string write(const dto_base& record, bool* ok = nullptr)
{
    json_node root;
    root.is_object = true;
    const bool written = record.to_json(root);
    if (ok)
        *ok = written;
    std::string out;
    write_json(root, out, false);
    return out;
}

// The member keys of an object text, in order.
inline std::vector<std::string> keys_of(const std::string& text)
{
    json_node root;
    parse_json(text, root);
    std::vector<std::string> keys;
    for (const json_node& child : root.children)
        keys.push_back(child.key);
    return keys;
}

} // namespace tarsion::testing
