#pragma once

#include "Faults.h"

#include <QJsonArray>
#include <QList>

#include <optional>

namespace QuorvelEmulator {

// The faults a test has queued, in order, each used up by the requests it
// applies to.
class FaultQueue
{
public:
    void push(Fault fault);
    void clear();
    // The fault for the next request to `target`, used up by the call. The
    // first fault queued for `target` decides: while it is still letting
    // requests pass ("after"), the request gets no fault at all, even if a
    // later fault for the same target is ready.
    std::optional<Fault> next(FaultTarget target);
    QJsonArray pending() const;
    qsizetype size() const { return m_faults.size(); }

private:
    QList<Fault> m_faults;
};

} // namespace QuorvelEmulator
