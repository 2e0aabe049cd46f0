#include "python/src/named_chain.h"

#include "host/session/session.h"

namespace talvor::python {

Result<Chain> named_chain(Session& session, const std::vector<std::string>& names) {
    session.port().set_receive_mode(PodPort::ReceiveMode::Exact);
    Chain chain = TRY(session.discover());
    for (size_t i = 0; names.size() == chain.devices.size() && i < names.size(); ++i) {
        if (!names[i].empty()) {
            chain.devices[i].name = names[i];
        }
    }
    return chain;
}

} // namespace talvor::python
