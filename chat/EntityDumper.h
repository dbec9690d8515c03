#pragma once

#include <functional>

#include <QString>

namespace tarsion::quorvel::dto {
struct EntityDto;
}

namespace QuorvelChat {

// Renders a received entity as diagnostic text. The rendering lives with the
// view; whoever assembles the chain hands it in.
using EntityDumper = std::function<QString(const tarsion::quorvel::dto::EntityDto&)>;

} // namespace QuorvelChat
