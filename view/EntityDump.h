#pragma once

#include <QString>

#include "sdk/dto/EntityDto.h"

namespace QuorvelChat {

// The diagnostic text of a received entity: a fixed set of labelled lines,
// each ended by a line feed, absent fields shown as "<unset>". Text values
// are escaped (see DisplayText.h), so no value spans or forges a line.
QString dumpEntity(const tarsion::quorvel::dto::EntityDto& entity);

} // namespace QuorvelChat
