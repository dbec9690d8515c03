#include "FaultQueue.h"

namespace QuorvelEmulator {

void FaultQueue::push(Fault fault)
{
    m_faults.append(std::move(fault));
}

void FaultQueue::clear()
{
    m_faults.clear();
}

std::optional<Fault> FaultQueue::next(FaultTarget target)
{
    for (qsizetype i = 0; i < m_faults.size(); ++i) {
        Fault& fault = m_faults[i];
        if (fault.target != target)
            continue;
        if (fault.after > 0) {
            --fault.after;
            return std::nullopt;
        }
        Fault taken = fault;
        if (fault.times > 0 && --fault.times == 0)
            m_faults.removeAt(i);
        return taken;
    }
    return std::nullopt;
}

QJsonArray FaultQueue::pending() const
{
    QJsonArray list;
    for (const Fault& fault : m_faults)
        list.append(fault.toJson());
    return list;
}

} // namespace QuorvelEmulator
