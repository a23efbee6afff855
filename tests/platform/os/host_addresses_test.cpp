#include <gtest/gtest.h>

#include <algorithm>

#include "platform/os/socket_calls.h"

namespace
{

std::vector<in_addr> Addresses(std::initializer_list<const char*> texts)
{
    std::vector<in_addr> addresses;
    for (const char* const text : texts)
        inet_pton(AF_INET, text, &addresses.emplace_back());
    return addresses;
}

std::vector<std::string> Texts(const std::vector<in_addr>& addresses)
{
    std::vector<std::string> texts;
    for (const in_addr& address : addresses) {
        char text[INET_ADDRSTRLEN] = "";
        texts.emplace_back(inet_ntop(AF_INET, &address, text, sizeof text));
    }
    return texts;
}

TEST(HostAddresses, OwnNameThatResolvesToLoopbackOnlyStandsForTheInterfaces)
{
    const auto interfaces = Addresses({"127.0.0.1", "192.168.1.7", "10.0.0.2"});
    const struct {
        std::vector<in_addr> resolved;
        std::vector<in_addr> interfaces;
        std::vector<std::string> chosen;
    } rows[] = {
        {Addresses({"127.0.1.1"}), interfaces, {"192.168.1.7", "10.0.0.2"}},
        {{}, interfaces, {"192.168.1.7", "10.0.0.2"}},
        {Addresses({"192.168.1.7"}), interfaces, {"192.168.1.7"}},
        {Addresses({"127.0.0.1", "192.168.1.7"}), interfaces, {"127.0.0.1", "192.168.1.7"}},
        {Addresses({"127.0.1.1"}), Addresses({"127.0.0.1"}), {"127.0.1.1"}},
        {{}, Addresses({"127.0.0.1"}), {"127.0.0.1"}},
        {{}, {}, {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Texts(ChooseOwnAddresses(row.resolved, row.interfaces)), row.chosen);
}

TEST(HostAddresses, OtherNamesStayAsTheResolverHasThem)
{
    EXPECT_EQ(Texts(GetHostAddresses("127.0.0.1")), std::vector<std::string>{"127.0.0.1"});
    EXPECT_TRUE(GetHostAddresses("no such host.").empty());
}

TEST(HostAddresses, OwnNameHasAddressesThatSomebodyCanReach)
{
    const auto addresses = GetHostAddresses(GetHostName());
    EXPECT_FALSE(addresses.empty());
    EXPECT_TRUE(std::ranges::none_of(addresses, [](const in_addr& address) { return address.s_addr == 0; }));
}

}  // namespace
