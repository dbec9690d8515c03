#pragma once

#include "sdk/json/json_node.h"

namespace tarsion {

// The base of every JSON record. Records are plain copyable values whose
// fields are all optional; they are read from and written to object nodes.
class dto_base
{
public:
    virtual ~dto_base() = default;

    // Fills the record from the members of `object`; true when every member
    // that was found could be read.
    virtual bool from_json(const json_node& object) = 0;
    // Adds the record's present fields to `object`; true when every one was
    // added.
    virtual bool to_json(json_node& object) const = 0;

protected:
    dto_base() = default;
    dto_base(const dto_base&) = default;
    dto_base& operator=(const dto_base&) = default;
};

} // namespace tarsion
