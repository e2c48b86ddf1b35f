// What the inventory does when an operation that it asks fails, though on this
// board it never does. The operations below stand in for the library's own: a
// program's definition comes before a shared library's.

#include <map>

#include "tests/inventory/inventory_test.h"

namespace {

int network_ports = -1;

} // namespace

extern "C" {

int get_mac_num(void)
{
    return network_ports;
}
int get_bom_ver(uint8_t *)
{
    return -1;
}
int get_group_devicemaximum(int32_t, uint8_t, int32_t *, uint32_t)
{
    return -1;
}
int get_pcie_maximum(int32_t *)
{
    return -2;
}
int get_hdd_backplane_sub_dev_maximum(uint8_t, int32_t *)
{
    return -2;
}
int get_fan_status(uint32_t, uint32_t, uint8_t *)
{
    return -1;
}
int get_mezz_presence(int32_t, uint8_t *)
{
    return -1;
}
int get_pcie_presence_by_fruid(uint8_t, int32_t, uint8_t *)
{
    return -1;
}
int get_hdd_backplane_presence(int32_t, uint8_t *)
{
    return -2;
}
int get_pcie_health_status(uint32_t, uint32_t *)
{
    return -2;
}
int get_board_id(uint32_t, uint8_t *)
{
    return -1;
}

} // extern "C"

namespace board_test {
namespace {

class FailingPartsTest : public InventoryTest {
protected:
    static Call maximum(uint8_t type, const char *text)
    {
        return {"maximum", [=](Outs &o) { return get_device_max_num(type, &o.number); }, -2, text};
    }
    static Call presence(uint8_t type, int result, const char *text)
    {
        return {"presence", [=](Outs &o) { return get_device_presence(0, type, 0, &o.byte); },
                result, text};
    }
};

TEST_F(FailingPartsTest, MaximaFailWithTheirTexts)
{
    expect_calls({
        maximum(0, "get_device_max_num: get cpu maximum err.\n"),
        maximum(1, "get_device_max_num: get memory maximum err.\n"),
        maximum(3, "get_device_max_num: get ps maximum err.\n"),
        maximum(4, "get_device_max_num: get ps maximum err.\n"), // the fan, too
        maximum(7, "get_device_max_num: get_thernet_card_maximum fail.\r\n"),
        maximum(8, "get_device_max_num: get_pcie_maximum fail.\r\n"),
    });
}

TEST_F(FailingPartsTest, ContainersFailWithTheirTexts)
{
    expect_calls({
        {"backplane", [](Outs &o) { return get_sub_device_max_num(5, 0, &o.number); }, -2,
         "get_sub_device_max_num: get_hdd_backplane_sub_dev_maximum fail.\r\n"},
        {"NIC card", [](Outs &o) { return get_sub_device_max_num(13, 0, &o.number); }, -2,
         "get_sub_device_max_num: get_nic_card_sub_dev_maximum fail.\r\n"},
    });
}

TEST_F(FailingPartsTest, NetworkPortsArePassedOn)
{
    expect_calls({
        {"ethernet", [](Outs &o) { return get_ethernet_card_maximum(&o.number); }, -2},
        {"NIC card", [](Outs &o) { return get_nic_card_sub_dev_maximum(0, &o.number); }, -2},
    });
    network_ports = 3;
    const Outs three = {.number = 3};
    expect_calls({
        {"ethernet", [](Outs &o) { return get_ethernet_card_maximum(&o.number); }, 0, "", three},
        {"NIC card", [](Outs &o) { return get_nic_card_sub_dev_maximum(0, &o.number); }, 0, "",
         three},
        {"type 7", [](Outs &o) { return get_device_max_num(7, &o.number); }, 0, "", three},
        {"type 13", [](Outs &o) { return get_sub_device_max_num(13, 0, &o.number); }, 0, "", three},
    });
}

TEST_F(FailingPartsTest, UnreadBomIdIsAnUnknownOne)
{
    const std::string no_bom = "get_product_cfg_num:bom id not support!\n";
    expect_calls({
        {"disks", [](Outs &o) { return get_disk_maximum(&o.number); }, 1, no_bom, {.number = 4}},
        {"RAID cards", [](Outs &) { return get_raid_maximum(); }, 1},
        {"on-board RAID", [](Outs &) { return get_onboard_raid_num(); }, 0},
        maximum(2, (no_bom + "get_device_max_num: get hdd maximum err.\n").c_str()),
    });
}

TEST_F(FailingPartsTest, PresenceFailsWithItsTexts)
{
    expect_calls({
        presence(4, -1, "get_device_presence #: get_disk_status is error\r\n"),
        presence(5, -2, "get_device_presence: get_hdd_backplane_presence fail.\r\n"),
        presence(8, -1, "get_device_presence #: get_pcie_presence fail.\r\n"),
        presence(11, -1, "get_device_presence #: get_disk_status is error\r\n"),
    });
}

TEST_F(FailingPartsTest, HealthFailsWithItsText)
{
    expect_calls({{"health", [](Outs &o) { return get_device_health_status(8, 0, &o.word); }, -2,
                   "get_device_health_status #: get_pcie_health_status fail.\r\n"}});
}

TEST_F(FailingPartsTest, UnreadBoardIdIsZero)
{
    g_raidcard_boardid_info[0] = {0x50, 0, "for board 0"};
    char name[20] = "";
    EXPECT_EQ(get_raidcard_productname(0x50, name, sizeof(name)), 0);
    EXPECT_STREQ(name, "for board 0");
}

} // namespace
} // namespace board_test
