#include "common/text.h"
#include "host/interconnect/netlist_file.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace talvor::interconnect {
namespace {

Netlist read(std::string_view text) {
    const Result<Netlist> netlist = parse_netlist(text, "a.net");
    EXPECT_TRUE(netlist) << (netlist ? "" : headline(netlist.error()));
    return netlist ? *netlist : Netlist();
}

std::string refusal(std::string_view text) {
    const Result<Netlist> netlist = parse_netlist(text, "a.net");
    EXPECT_FALSE(netlist);
    if (netlist) {
        return "";
    }
    EXPECT_EQ(netlist.error().kind, ErrorKind::BadFile);
    return headline(netlist.error());
}

// "NAME: part.pin part.pin; ..."
std::string nets_of(const Netlist& netlist) {
    std::string text;
    for (const Net& net : netlist.nets) {
        text += net.name + ":";
        for (const NetPin& pin : net.pins) {
            text += " " + pin.part + "." + pin.pin;
        }
        text += "; ";
    }
    return text;
}

// ---- our own ----------------------------------------------------------------------------------

TEST(TomlNetlistTest, ListsNetsInTheOrderOfTheFile) {
    const Netlist netlist = read("nets.Z = [\"u1.PA0\", \"u2.14\"]\n"
                                 "nets.A = [\"u1.PA(1)\", \"u2.B.7\"]\n");
    EXPECT_EQ(nets_of(netlist), "Z: u1.PA0 u2.14; A: u1.PA(1) u2.B.7; ");
    EXPECT_EQ(netlist.nets[1].line, 2U);
    EXPECT_EQ(netlist.nets[1].pins[0].line, 2U);
    EXPECT_FALSE(netlist.package_pins);
}

TEST(TomlNetlistTest, TellsWhichDeviceAPartIs) {
    const Netlist netlist = read("passive = [\"X3\"]\n[devices]\nu1 = \"cpu\"\nU7 = 2\n[nets]\n");
    ASSERT_EQ(netlist.devices.size(), 2U);
    EXPECT_EQ(netlist.devices[0].part, "u1");
    EXPECT_EQ(netlist.devices[0].device, "cpu");
    EXPECT_EQ(netlist.devices[1].device, "2");
    EXPECT_EQ(netlist.devices[1].line, 4U);
    EXPECT_EQ(netlist.passive, std::vector<std::string>{"X3"});
}

TEST(TomlNetlistTest, NamesWhatIsWrongAndWhere) {
    EXPECT_EQ(refusal("\nnets.A = \"u1.2\"\n"),
              "a.net:2: nets.A: expected pins, as in [\"u1.PA0\", \"u2.14\"]");
    for (const char* pin : {"u1", ".PA0", "u1.", ""}) {
        EXPECT_EQ(refusal(fmt::format("nets.A = [\"{}\"]", pin)),
                  "a.net:1: nets.A: expected pins, as in [\"u1.PA0\", \"u2.14\"]")
            << pin;
    }
    EXPECT_NE(refusal("nets.A = [7]").find("expected pins"), std::string::npos);
    EXPECT_NE(refusal("net.A = [\"u1.1\"]").find("a.net:1: net"), std::string::npos);
    EXPECT_NE(refusal("").find("a table of nets"), std::string::npos);
    EXPECT_NE(refusal("devices.u1 = [1]\n[nets]\n")
                  .find("a.net:1: devices.u1: expected the name of a device"),
              std::string::npos);
}

// ---- KiCad's ----------------------------------------------------------------------------------

constexpr const char* kKicad = R"net((export (version "E")
  (design
    (source "/home/a/board.kicad_sch") (date "2026") (tool "Eeschema 8.0.1")
    (sheet (number "1") (name "/") (tstamps "/")))
  (components
    (comp (ref "U1") (value "a \"part\" (of ours)")
      (libsource (lib "x") (part "y") (description ""))))
  (libparts (libpart (lib "x") (part "y") (pins (pin (num "1") (name "~") (type "input")))))
  (libraries)
  (nets
    (net (code "1") (name "/A0") (class "Default")
      (node (ref "U1") (pin "12") (pinfunction "PA0") (pintype "bidirectional"))
      (node (ref "U2") (pin "A4") (pintype "input")))
    (net (code 2) (name "")
      (node (ref R1) (pin 1))))
)
)net";

TEST(KicadNetlistTest, ListsNets) {
    const Netlist netlist = read(kKicad);
    EXPECT_EQ(nets_of(netlist), "/A0: U1.12 U2.A4; net 2: R1.1; ");
    EXPECT_EQ(netlist.nets[0].line, 11U);
    EXPECT_EQ(netlist.nets[0].pins[1].line, 13U);
    EXPECT_TRUE(netlist.package_pins);
    EXPECT_TRUE(netlist.devices.empty());
}

TEST(KicadNetlistTest, IsToldByItsFirstCharacter) {
    EXPECT_EQ(nets_of(read("\xEF\xBB\xBF \r\n\t(export (nets))")), "");
    EXPECT_TRUE(read("(export (nets))").package_pins);
}

TEST(KicadNetlistTest, TakesEscapesInNames) {
    EXPECT_EQ(nets_of(read(R"net((export (nets (net (code "1") (name "/\"a\\b\n)")))))net")),
              "/\"a\\b\n):; ");
}

TEST(KicadNetlistTest, NamesLineAndColumnOfWhatIsWrong) {
    EXPECT_EQ(refusal("(export\n (nets))\n )"), "a.net:3:2: a ) that closes nothing");
    EXPECT_EQ(refusal("(export\n  (nets (net"), "a.net:2:13: the file ends where 3 more ) is due");
    EXPECT_EQ(refusal("(export (nets (net (name \"x))))"),
              "a.net:1:26: a word whose closing quote is missing");
    EXPECT_EQ(refusal("(schematic (nets))"), "a.net:1:2: expected (export ...");
    EXPECT_EQ(refusal("(export (version \"E\"))"), "a.net: has no list of nets");
    EXPECT_EQ(refusal("(export (nets) (nets))"), "a.net:1:17: a second list of nets");
    EXPECT_EQ(refusal("(export (nets)) x"), "a.net:1:17: expected the end of the file");
    EXPECT_EQ(refusal("(export (nets (net (name))))"),
              "a.net:1:25: expected the value of (name ...)");
    EXPECT_EQ(refusal("(export (nets (net (node (ref U1)))))"),
              "a.net:1:21: expected (node (ref ...) (pin ...))");
    EXPECT_EQ(refusal("(export ((nets)))"), "a.net:1:10: expected the name of a list");
}

TEST(KicadNetlistTest, HasAnEndOfPatience) {
    EXPECT_EQ(refusal("(export (a " + std::string(100, '(')),
              "a.net:1:74: more than 64 lists within each other");
    EXPECT_EQ(refusal("(export \"" + std::string(5000, 'a')),
              "a.net:1:9: a word of more than 4096 bytes");
    EXPECT_EQ(refusal("(export " + std::string(5000, 'a')),
              "a.net:1:9: a word of more than 4096 bytes");
    std::string many = "(export (nets ";
    for (size_t i = 0; i <= kMostNets; ++i) {
        many += "(net)";
    }
    EXPECT_NE(refusal(many + "))").find("more than 100000 nets"), std::string::npos);
}

// ---- either -----------------------------------------------------------------------------------

TEST(NetlistTest, SaysThatAFileIsTooLarge) {
    EXPECT_NE(refusal(std::string(kMostNetlistBytes + 1, ' ')).find("67108864 at most"),
              std::string::npos);
}

TEST(NetlistTest, SaysThatAFileCannotBeRead) {
    const Result<Netlist> netlist = read_netlist("/dev/null/none");
    ASSERT_FALSE(netlist);
    EXPECT_EQ(netlist.error().thing, "/dev/null/none");
    EXPECT_NE(netlist.error().next_step, "");
}

} // namespace
} // namespace talvor::interconnect
