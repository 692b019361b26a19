#pragma once

namespace vexa {

/// What a transport tells those who follow its connection. Listeners are identified by object.
class OruClientConnectionListener {
public:
    virtual ~OruClientConnectionListener() = default;

    /// The connection has opened, for the first time or again. The transport may call it on any thread, once for each
    /// opening, in order with the messages around it; implementations return at once.
    virtual void connectionOpened() = 0;

    /// The connection has closed.
    virtual void connectionClosed() = 0;
};

} // namespace vexa
