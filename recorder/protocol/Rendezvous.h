#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "recorder/protocol/DatagramOut.h"

namespace recorder
{

// The rendezvous: users log in by name, learn of each other, and are told who wants to reach them. Bytes come
// in, bytes go out, time is passed in; no sockets. One thread at a time.
//
// Users are known by the endpoint that logged in, so that two programs on one machine, which bear the same
// name, don't push each other out; looked up by name, the one that logged in last is found.
//
// Senders can be made up, so what is answered is bounded by what came: a user that was never heard again after
// its login is pinged once and forgotten soon, the entries of lists are paced for each address, and when there
// is no room a new login takes the place of one that never spoke again, or has been silent for longest.
class CRendezvous
{
  public:
    struct XLimits {
        size_t m_ulUsers = 1024;
        size_t m_ulUsersPerAddress = 32;
        TimeUs m_iPingEvery = 20 * SECOND;    // keeps paths through address translation open
        TimeUs m_iForgetAfter = 65 * SECOND;  // of silence: three pings missed
        TimeUs m_iFirstPing = 5 * SECOND;     // of a user that has only logged in
        TimeUs m_iForgetUnheard = 15 * SECOND;
        size_t m_ulEntriesAtOnce = 32;  // of a list, before it pauses so that receive buffers keep up
        TimeUs m_iEntriesPause = 2 * MILLISECOND;
        size_t m_ulEntriesPerSecond = 256;  // to one address, by all lists together
    };
    struct XCounts {
        uint64_t m_ulLogins = 0;
        uint64_t m_ulLogouts = 0;
        uint64_t m_ulLists = 0;
        uint64_t m_ulPunches = 0;                      // forwarded
        uint64_t m_ulUnknownWanted = 0;                // a punch for a name that isn't there
        uint64_t m_ulStrangers = 0;                    // list questions of endpoints that aren't logged in
        uint64_t m_ulForgotten = 0;                    // users dropped for silence
        uint64_t m_ulRefusedLogins = 0;                // no name, or the reserved one
        uint64_t m_ulDisplaced = 0;                    // users that made room for a new one
        uint64_t m_ulPunchLogins = 0;                  // users taken in by a punch
        std::array<uint64_t, WIRE_FAULTS> m_Faults{};  // by EWireFault
    };

    explicit CRendezvous(IDatagramOut& out);
    CRendezvous(IDatagramOut& out, const XLimits& limits);

    // Nobody else may log in under this name, and its holder's place is never given to another.
    void Reserve(const std::string& strName, const XEndpoint& holder);

    void OnDatagram(TimeUs iNow, const XEndpoint& from, std::span<const uint8_t> datagram);
    // Does what is due; when it wants to be called again, or NEVER. Call it too after OnDatagram.
    TimeUs OnTimer(TimeUs iNow);

    const XCounts& Counts() const { return m_Counts; }
    size_t Users() const { return m_Users.size(); }

  private:
    struct XUser {
        XPeerRecord m_Record;  // its p2p address is the endpoint that logged in
        TimeUs m_iHeard = 0;
        TimeUs m_iNextPing = 0;
        uint64_t m_ulSerial = 0;     // counts logins: the latest is the largest
        bool m_bHeardAgain = false;  // after its login
    };
    // A list that is being sent. Entries go by login serial downwards, so that logins meanwhile don't disturb
    // it.
    struct XList {
        XEndpoint m_To;
        uint64_t m_ulBelow = 0;
        TimeUs m_iDue = 0;
    };

    // What the lists of one address have taken of its share.
    struct XShare {
        TimeUs m_iSince = 0;
        size_t m_ulEntries = 0;
    };

    XUser* ByEndpoint(const XEndpoint& endpoint);
    const XUser* ByName(const std::string& name) const;
    bool Login(TimeUs iNow, const XEndpoint& from, const XPeerRecord& record);
    void MakeRoom(const XEndpoint& from);
    void Logout(const XEndpoint& from);
    void StartList(TimeUs iNow, const XEndpoint& from);
    void ForwardPunch(TimeUs iNow, const XEndpoint& from, const XMessage& message);
    // Takes one entry off the address's share; when that is used up, puts the list off instead.
    bool TakeShare(TimeUs iNow, XList& list);
    // Sends the next entries; true when the list is complete.
    bool GoOnWithList(TimeUs iNow, XList& list);
    void Send(const XEndpoint& to, EMessage type, const XPeerRecord& record);

    IDatagramOut& m_Out;
    XLimits m_Limits;
    XCounts m_Counts;
    std::vector<XUser> m_Users;           // in the order of login, the oldest first
    std::vector<XList> m_Lists;           // at most one for each user
    std::map<uint32_t, XShare> m_Shares;  // by address, of this second
    std::string m_strReserved;
    XEndpoint m_Holder;
    uint64_t m_ulSerial = 0;
};

}  // namespace recorder
