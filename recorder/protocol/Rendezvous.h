#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "recorder/protocol/DatagramOut.h"

namespace recorder
{

/// The rendezvous: users log in by name, learn of each other, and are told who wants to reach them. Bytes come
/// in, bytes go out, time is passed in; no sockets. One thread at a time.
///
/// Users are known by the endpoint that logged in, so that two programs on one machine, which have the same
/// name, don't push each other out; looked up by name, the one that logged in last is found.
///
/// Senders can be made up, so what is answered is bounded by what came: a user that never sent again after
/// its login is pinged once and forgotten soon, the entries of lists are paced for each address and bounded for
/// all together, and when there is no room a new login takes the place of one that never spoke again, or has
/// been silent for longest.
class Rendezvous
{
  public:
    struct Limits {
        size_t users = 1024;
        size_t usersPerAddress = 32;
        TimeUs pingEvery = 20 * SECOND;    // keeps paths through address translation open
        TimeUs forgetAfter = 65 * SECOND;  // of silence: three pings missed
        TimeUs firstPing = 5 * SECOND;     // of a user that has only logged in
        TimeUs forgetUnheard = 15 * SECOND;
        size_t entriesAtOnce = 32;  // of a list, before it pauses so that receive buffers keep up
        TimeUs entriesPause = 2 * MILLISECOND;
        size_t entriesPerSecond = 256;         // to one address, by all lists, the reserved name not counted
        size_t entriesOfAllPerSecond = 8'192;  // to all addresses; beyond, a list has the reserved name alone
    };
    struct Counters {
        uint64_t logins = 0;
        uint64_t logouts = 0;
        uint64_t lists = 0;
        uint64_t punches = 0;                        // forwarded
        uint64_t unknownWanted = 0;                  // a punch for a name that isn't there
        uint64_t strangers = 0;                      // list questions of endpoints that aren't logged in
        uint64_t forgotten = 0;                      // users dropped for silence
        uint64_t refusedLogins = 0;                  // no name, or the reserved one
        uint64_t displaced = 0;                      // users that made room for a new one
        uint64_t punchLogins = 0;                    // users taken in by a punch
        std::array<uint64_t, WIRE_FAULTS> faults{};  // by EWireFault
    };

    explicit Rendezvous(IDatagramOut& out);
    Rendezvous(IDatagramOut& out, const Limits& limits);

    /// Nobody else may log in under this name, and its holder's place is never given to another.
    void Reserve(const std::string& name, const Endpoint& holder);

    void OnDatagram(TimeUs now, const Endpoint& from, std::span<const uint8_t> datagram);
    /// Does what is due; when it wants to be called again, or NEVER. Call it too after OnDatagram.
    TimeUs OnTimer(TimeUs now);

    const Counters& Counts() const { return m_Counts; }
    size_t Users() const { return m_Users.size(); }
    /// Addresses whose lists are held to a share: those that took entries within the last second.
    size_t Shares() const { return m_Shares.size(); }

  private:
    struct User {
        PeerRecord record;  // its p2p address is the endpoint that logged in
        TimeUs heard = 0;
        TimeUs nextPing = 0;
        uint64_t serial = 0;      // counts logins: the latest is the largest
        bool heardAgain = false;  // after its login
    };
    // A list that is being sent. Entries go by login serial downwards, so that logins meanwhile don't disturb
    // it.
    struct List {
        Endpoint to;
        uint64_t below = 0;
        TimeUs due = 0;
    };

    // What the lists of one address, or of all, have taken of their share.
    struct Share {
        TimeUs since = 0;
        size_t entries = 0;
    };

    User* ByEndpoint(const Endpoint& endpoint);
    const User* ByName(const std::string& name) const;
    bool Login(TimeUs now, const Endpoint& from, const PeerRecord& record);
    void MakeRoom(const Endpoint& from);
    void Logout(const Endpoint& from);
    void StartList(TimeUs now, const Endpoint& from);
    void DropList(const Endpoint& to);
    void ForwardPunch(TimeUs now, const Endpoint& from, const WireMessage& message);
    // Takes one entry off the address's share; when that is used up, puts the list off instead.
    bool TakeShare(TimeUs now, List& list);
    bool IsAllTaken(TimeUs now);
    // Sends the next entries; true when the list is complete.
    bool GoOnWithList(TimeUs now, List& list);
    void Send(const Endpoint& to, EMessage type, const PeerRecord& record);

    IDatagramOut& m_Out;
    Limits m_Limits;
    Counters m_Counts;
    std::vector<User> m_Users;           // in the order of login, the oldest first
    std::vector<List> m_Lists;           // at most one for each user
    std::map<uint32_t, Share> m_Shares;  // by address, of this second
    Share m_AllShares;                   // of them together
    std::string m_Reserved;
    Endpoint m_Holder;
    uint64_t m_Serial = 0;
};

}  // namespace recorder
