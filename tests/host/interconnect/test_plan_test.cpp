#include "host/boundary/image.h"
#include "host/interconnect/made_device.h"
#include "host/interconnect/netlist_file.h"
#include "host/interconnect/test_plan.h"

#include <gtest/gtest.h>

#include <random>

namespace talvor::interconnect {
namespace {

using boundary::Level;
using Chain = std::vector<boundary::Member>;

Result<TestPlan> plan(const Chain& chain, std::string_view netlist) {
    const Result<Netlist> nets = parse_netlist(netlist, "a.net");
    EXPECT_TRUE(nets) << (nets ? "" : headline(nets.error()));
    const auto placed = place_nets(*nets, chain);
    EXPECT_TRUE(placed) << (placed ? "" : headline(placed.error()));
    return plan_test(*placed, chain);
}

// "NET: driver > receiver receiver; ..." with * behind a receiver at the driver.
std::string roles(const TestPlan& plan) {
    std::string text;
    for (const TestedNet& net : plan.nets) {
        text += fmt::format("{}: {} >", net.name, net.driver.pin.name);
        for (const Receiver& one : net.receivers) {
            text += fmt::format(" {}{}", one.pin.name, one.at_driver ? "*" : "");
        }
        text += "; ";
    }
    return text;
}

std::string untested(const TestPlan& plan) {
    std::string text;
    for (const UntestedNet& net : plan.untested) {
        text += fmt::format("{}: {}; ", net.name, net.reason);
    }
    return text;
}

TEST(TestPlanTest, TakesTheOutputThatLeavesTheMostReceivers) {
    const Chain chain{MadeDevice("u1").control().bidir("B").control().output3("O").member(),
                      MadeDevice("u2").control().bidir("B").input("I").member()};
    const auto made = plan(chain, "nets.X = [\"u1.B\", \"u1.O\", \"u2.B\", \"u2.I\"]");
    ASSERT_TRUE(made);
    EXPECT_EQ(roles(*made), "X: u1.O > u1.B u2.B u2.I; ");
    EXPECT_EQ(made->rest[0], Bits::from_uint(0b0100, 4)); // of cell 0 and cell 2 only the latter
    EXPECT_EQ(made->rest[1], Bits::from_uint(0, 3));
}

TEST(TestPlanTest, TakesTheFirstOfEqualOutputs) {
    const Chain chain{MadeDevice("u1").control().bidir("B").member(),
                      MadeDevice("u2").control().bidir("B").member()};
    EXPECT_EQ(roles(*plan(chain, "nets.X = [\"u2.B\", \"u1.B\"]")), "X: u2.B > u1.B; ");
}

TEST(TestPlanTest, WatchesTheDriverWhereACellCan) {
    const Chain chain{MadeDevice("u1").control().output_and_input("P").bidir("S", "BC_9").member(),
                      MadeDevice("u2").input("I").input("J").member()};
    EXPECT_EQ(roles(*plan(chain, "nets.X = [\"u1.P\", \"u2.I\"]\nnets.Y = [\"u2.J\", \"u1.S\"]")),
              "X: u1.P > u1.P* u2.I; Y: u1.S > u2.J u1.S*; ");
}

TEST(TestPlanTest, RefusesTwoOutputsThatNothingDisables) {
    const Chain chain{MadeDevice("u1").output2("O").member(),
                      MadeDevice("u2").output2("O").input("I").member()};
    const auto made = plan(chain, "nets.X = [\"u1.O\", \"u2.I\", \"u2.O\"]");
    ASSERT_FALSE(made);
    EXPECT_EQ(made.error().kind, ErrorKind::Refused);
    EXPECT_EQ(headline(made.error()),
              "net X: u1.O and u2.O both drive it, and nothing disables either");
}

TEST(TestPlanTest, RefusesThemAlsoOnNetsThatAreNotTested) {
    const Chain chain{MadeDevice("u1").output2("O").member(),
                      MadeDevice("u2").output2("O").member()};
    EXPECT_FALSE(plan(chain, "nets.X = [\"u1.O\", \"u2.O\", \"U9.1\"]"));
}

TEST(TestPlanTest, DisablesEverythingBesideAnOutputThatIsAlwaysOn) {
    const Chain chain{MadeDevice("u1").control('1').bidir("B").member(),
                      MadeDevice("u2").output2("O").member()};
    const auto made = plan(chain, "nets.X = [\"u1.B\", \"u2.O\"]");
    EXPECT_EQ(roles(*made), "X: u2.O > u1.B; ");
    EXPECT_TRUE(made->rest[0][0]);
}

TEST(TestPlanTest, EnablesTogetherWhatSharesACell) {
    const Chain chain{
        MadeDevice("u1").control().output3("A").output3("B").output3("C").member(),
        MadeDevice("u2").control().bidir("A").control().bidir("B").input("I").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u2.A\"]\nnets.Y = [\"u2.B\", \"u1.B\"]");
    EXPECT_EQ(roles(*made), "X: u1.A > u2.A; Y: u1.B > u2.B; ");
    EXPECT_EQ(made->rest[1], Bits::from_uint(0, 5));
    EXPECT_EQ(made->also_driving, std::vector<std::string>{"u1.C"});
}

TEST(TestPlanTest, DoesNotEnableWhatWouldDriveAgainstAnotherOutput) {
    const Chain chain{MadeDevice("u1").control().output3("A").output3("B").member(),
                      MadeDevice("u2").input("I").output2("O").input("J").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u2.I\"]\n"
                                  "nets.Y = [\"u1.B\", \"u2.O\", \"u2.J\"]");
    EXPECT_EQ(roles(*made), "Y: u2.O > u2.J; ");
    EXPECT_EQ(untested(*made), "X: u1.A cannot drive it: the cell that enables it has to disable "
                               "another output; ");
    EXPECT_FALSE(made->rest[0][0]);
}

TEST(TestPlanTest, DoesNotEnableTwoOutputsOfOneNetTogether) {
    const Chain chain{MadeDevice("u1").control().output3("A").output3("B").member(),
                      MadeDevice("u2").input("I").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u1.B\", \"u2.I\"]");
    EXPECT_EQ(roles(*made), "");
    EXPECT_EQ(untested(*made), "X: u1.B cannot drive it: u1.A and u1.B are enabled together "
                               "and would drive against each other; ");
    EXPECT_FALSE(made->rest[0][0]);
}

TEST(TestPlanTest, DoesNotEnableWhatAForeignPartMayDrive) {
    const Chain chain{MadeDevice("u1").control().output3("A").output3("B").member(),
                      MadeDevice("u2").input("I").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u2.I\"]\nnets.Y = [\"u1.B\", \"U9.1\"]");
    EXPECT_EQ(untested(*made),
              "X: u1.A cannot drive it: it is enabled together with u1.B, and U9.1 may drive the "
              "net Y; Y: U9.1 may drive it and is no pin of the chain; ");
    EXPECT_FALSE(made->rest[0][0]);
}

TEST(TestPlanTest, LetsOpenCollectorsLetGo) {
    const Chain chain{MadeDevice("u1").open_collector("A").member(),
                      MadeDevice("u2").open_collector("A").control().bidir("B").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u2.A\", \"u2.B\"]");
    EXPECT_EQ(roles(*made), "X: u1.A > u2.B; "); // u2.B would drive unseen
    EXPECT_TRUE(made->rest[0][0]);
    EXPECT_TRUE(made->rest[1][0]);
    EXPECT_FALSE(made->rest[1][1]);
}

TEST(TestPlanTest, DrivesThroughAnOpenCollectorWhereThereIsNoOther) {
    const Chain chain{MadeDevice("u1").open_collector("A").member(),
                      MadeDevice("u2").open_collector("A").input("I").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u2.A\", \"u2.I\"]");
    EXPECT_EQ(roles(*made), "X: u1.A > u2.I; ");
    EXPECT_TRUE(made->rest[1][0]);
    EXPECT_FALSE(made->nets[0].driver.enable);
}

TEST(TestPlanTest, SaysWhyNetsAreNotTested) {
    const Chain chain{MadeDevice("u1")
                          .tap()
                          .compliance("C")
                          .without_cell("VCC", bsdl::PortMode::Linkage)
                          .without_cell("O", bsdl::PortMode::Out)
                          .input("I")
                          .input("J")
                          .control()
                          .output3("P")
                          .member(),
                      MadeDevice("u2").input("I").input("J").input("K").input("L").member()};
    const auto made = plan(chain, "nets.A = [\"u1.TCK\", \"u2.I\"]\n"
                                  "nets.B = [\"u1.C\", \"u2.J\"]\n"
                                  "nets.D = [\"u1.VCC\", \"u2.K\"]\n"
                                  "nets.E = [\"u1.O\", \"u2.L\"]\n"
                                  "nets.F = [\"u1.I\"]\n"
                                  "nets.G = [\"R1.1\"]\n"
                                  "nets.H = [\"u1.J\", \"U9.1\"]\n");
    EXPECT_EQ(untested(*made), "A: u1.TCK belongs to the test access port; "
                               "B: u1.C has to stand at its compliance pattern; "
                               "D: u1.VCC is no digital pin; "
                               "E: u1.O may drive it and has no cell; "
                               "F: u1.I is its only pin of the chain; "
                               "G: no pin of the chain is on it; "
                               "H: U9.1 may drive it and is no pin of the chain; ");
    EXPECT_EQ(untested(*plan(chain, "nets.X = [\"u1.I\", \"u2.I\"]")),
              "X: none of its pins has an output; ");
    EXPECT_EQ(untested(*plan({MadeDevice("u1").output2("O").member(),
                              MadeDevice("u2").control().output3("O").member()},
                             "nets.X = [\"u1.O\", \"u2.O\"]")),
              "X: no other pin sees what u1.O drives; ");
}

TEST(TestPlanTest, PutsVectorsIntoTheDriversCells) {
    const Chain chain{MadeDevice("u1").output2("A").output2("B").member(),
                      MadeDevice("u2").input("I").input("J").member()};
    const auto made = plan(chain, "nets.X = [\"u1.A\", \"u2.I\"]\nnets.Y = [\"u1.B\", \"u2.J\"]");
    boundary::Images images = made->rest;
    put_vector(*made, {Vector::Kind::Code, 0, false}, images); // codes 01 and 10
    EXPECT_EQ(images[0], Bits::from_uint(0b01, 2));
    put_vector(*made, {Vector::Kind::Inverse, 0, false}, images);
    EXPECT_EQ(images[0], Bits::from_uint(0b10, 2));
}

// ---- any board --------------------------------------------------------------------------------

// Devices with every kind of output, control cells shared at random, nets of pins at random.
struct RandomBoard {
    Chain chain;
    std::string netlist;
};

RandomBoard random_board(uint64_t seed) {
    std::mt19937_64 engine(seed);
    const auto below = [&engine](size_t count) {
        return std::uniform_int_distribution<size_t>(0, count - 1)(engine);
    };
    RandomBoard board;
    std::vector<std::vector<std::string>> nets(3 + below(12));
    std::vector<bool> always_on(nets.size(), false);
    for (size_t d = 0; d < 3; ++d) {
        MadeDevice device(fmt::format("u{}", d + 1));
        device.control();
        for (size_t p = 0; p < 4 + below(20); ++p) {
            const std::string name = fmt::format("P{}", p);
            const size_t net = below(nets.size());
            if (below(3) == 0) {
                device.control(below(2) == 0 ? '0' : '1');
            }
            switch (below(5)) {
            case 0:
                if (always_on[net]) {
                    device.input(name);
                } else {
                    device.output2(name);
                    always_on[net] = true;
                }
                break;
            case 1:
                device.output3(name);
                break;
            case 2:
                device.bidir(name);
                break;
            case 3:
                device.output_and_input(name);
                break;
            default:
                device.open_collector(name);
                break;
            }
            nets[net].push_back(fmt::format("\"u{}.{}\"", d + 1, name));
        }
        board.chain.push_back(device.member());
    }
    for (size_t n = 0; n < nets.size(); ++n) {
        board.netlist += fmt::format("nets.N{} = [{}]\n", n, fmt::join(nets[n], ", "));
    }
    return board;
}

// Of each net of a netlist, which outputs drive it in `images`.
std::map<std::string, std::vector<std::string>> driving(const RandomBoard& board,
                                                        const boundary::Images& images) {
    const auto placed = place_nets(*parse_netlist(board.netlist, "a.net"), board.chain);
    std::map<std::string, std::vector<std::string>> found;
    for (const PlacedNet& net : *placed) {
        for (const DevicePin& pin : net.pins) {
            const boundary::Plan& plan = *board.chain[pin.device].plan;
            const boundary::Pin* cells = plan.find(pin.signal);
            if (cells->drive && driven_level(plan, *cells, images[pin.device]) != Level::Z) {
                found[net.name].push_back(pin.name);
            }
        }
    }
    return found;
}

TEST(TestPlanTest, NeverDrivesANetFromTwoSides) {
    size_t tested = 0;
    for (uint64_t seed = 0; seed < 300; ++seed) {
        const RandomBoard board = random_board(seed);
        const auto made = plan(board.chain, board.netlist);
        ASSERT_TRUE(made) << headline(made.error());
        tested += made->nets.size();
        std::vector<Vector> vectors = counting_sequence(made->nets.size());
        vectors.push_back({Vector::Kind::All, 0, false});
        vectors.push_back({Vector::Kind::All, 0, true});
        for (const Vector& vector : vectors) {
            boundary::Images images = made->rest;
            put_vector(*made, vector, images);
            const auto drivers = driving(board, images);
            for (const auto& [net, names] : drivers) {
                EXPECT_LE(names.size(), 1U) << seed << ": net " << net << ": " << names[0];
            }
            for (size_t n = 0; n < made->nets.size(); ++n) {
                const auto found = drivers.find(made->nets[n].name);
                if (found != drivers.end()) {
                    EXPECT_EQ(found->second.front(), made->nets[n].driver.pin.name);
                }
            }
        }
    }
    EXPECT_GT(tested, 1000U); // it refuses no more than it must
}

} // namespace
} // namespace talvor::interconnect
