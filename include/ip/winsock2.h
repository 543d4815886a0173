#pragma once

#include "ip/export.h"
#include "ip/lib.h"

struct WSAData;

namespace ip {

/// The socket library. An object is an `ip::lib` handle that starts the socket library once more, with
/// a version of its own.
class winsock2 : public lib {
public:
    /// `wsa_version` is what `start` asks for: low byte major, high byte minor, as `WSAStartup` takes it.
    explicit winsock2(unsigned short wsa_version = 0x0202) : wsa_version_(wsa_version) {}
    /// Calls `cleanup` if the object is started.
    ~winsock2() {
        if (started_) {
            cleanup();
        }
    }

    /// Initialises the handle and calls `WSAStartup` with this object's version, which fills `data`.
    /// Returns 0, also when the object is started already (`data` is untouched then), the error of
    /// `lib::init`, or `WSAStartup`'s own code (10091, 10092); after a failure nothing stays started.
    /// A refused version may fill `data`, an earlier failure leaves it alone; a failed start ends the use of
    /// a handle that was initialised before. The first start of a process calls `WSAStartup` twice: for
    /// version 1.1, then for this one.
    KVTIP_API unsigned long start(::WSAData& data);

    /// Undoes one `start`: `WSACleanup`, release of the library, `lib::free`. Returns the first error of
    /// these, or 0. The object is not asked whether it is started: a call too many takes away somebody
    /// else's start, and crashes when nobody has the library started.
    KVTIP_API unsigned long cleanup();

    /// The calling thread's last socket error (`WSAGetLastError`). The library must be started.
    KVTIP_API static unsigned long getlasterror();

private:
    unsigned short wsa_version_;
    bool started_ = false;
};

} // namespace ip
