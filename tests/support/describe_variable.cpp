#include "support/describe_variable.h"

#include <sstream>

namespace test_support {
namespace {

// One line a field: "name = value".
class Lines {
public:
    Lines& add(const char* name, bool value) { return put(name, value ? "true" : "false"); }
    Lines& add(const char* name, uint32_t value) { return put(name, value); }
    Lines& add(const char* name, int32_t value) { return put(name, value); }
    Lines& add(const char* name, const char* value) { return put(name, value ? value : "(null)"); }
    std::string text() const { return text_.str(); }

private:
    template <typename Value>
    Lines& put(const char* name, const Value& value) {
        text_ << name << " = " << value << '\n';
        return *this;
    }
    std::ostringstream text_;
};

} // namespace

#define FIELD(name) lines.add(#name, record.name)

std::string describe(const TBC_Variable& record) {
    Lines lines;
    FIELD(found);
    FIELD(noAmble);
    FIELD(useNoAmble);
    FIELD(noCheck);
    FIELD(useNoCheck);
    FIELD(okStall);
    FIELD(useOkStall);
    FIELD(fastClock);
    FIELD(slowClock);
    FIELD(slowFreq);
    FIELD(useFastClock);
    FIELD(useSlowClock);
    FIELD(useSlowFreq);
    FIELD(tdoEdgeFall);
    FIELD(tdiEdgeFall);
    FIELD(useTdoEdgeFall);
    FIELD(useTdiEdgeFall);
    FIELD(linkAuto);
    FIELD(linkDelta);
    FIELD(linkDelay);
    FIELD(useLinkAuto);
    FIELD(useLinkDelta);
    FIELD(useLinkDelay);
    FIELD(forceOnceEnd);
    FIELD(forceManyEnd);
    FIELD(useForceOnceEnd);
    FIELD(useForceManyEnd);
    FIELD(delayTdiPodToEmu);
    FIELD(delayTdiTgtToPod);
    FIELD(delayTckEmuToPod);
    FIELD(delayTckPodToEmu);
    FIELD(useDelayTdiPodToEmu);
    FIELD(useDelayTdiTgtToPod);
    FIELD(useDelayTckEmuToPod);
    FIELD(useDelayTckPodToEmu);
    FIELD(jtagBootMode);
    FIELD(jtagBootValue);
    FIELD(useJtagBootMode);
    FIELD(useJtagBootValue);
    FIELD(powerBootMode);
    FIELD(powerBootValue);
    FIELD(usePowerBootMode);
    FIELD(usePowerBootValue);
    FIELD(emuOutputMode);
    FIELD(emuOutputValue);
    FIELD(useEmuOutputMode);
    FIELD(useEmuOutputValue);
    FIELD(podLoopMode);
    FIELD(podLoopValue);
    FIELD(usePodLoopMode);
    FIELD(usePodLoopValue);
    FIELD(bootPinMap);
    FIELD(useBootPinMap);
    FIELD(jtagIsolate);
    FIELD(useJtagIsolate);
    return lines.text();
}

std::string describe(const KELM_Variable& record) {
    Lines lines;
    FIELD(found);
    FIELD(pHostNameValue);
    FIELD(hostNameLength);
    FIELD(useHostName);
    FIELD(remotePort);
    FIELD(useRemotePort);
    FIELD(directConnect);
    FIELD(useDirectConnect);
    FIELD(noFpgaLoad);
    FIELD(useNoFpgaLoad);
    FIELD(logFileEnable);
    FIELD(useLogFileEnable);
    FIELD(logFileVerbose);
    FIELD(useLogFileVerbose);
    FIELD(pLogFileNameValue);
    FIELD(logFileNameLength);
    FIELD(useLogFileName);
    return lines.text();
}

std::string describe(const QEL_Variable& record) {
    Lines lines;
    FIELD(found);
    FIELD(prediv);
    FIELD(tdoedge);
    FIELD(tdiload);
    FIELD(tckload);
    FIELD(shortdly);
    FIELD(tckdiv);
    FIELD(tckexp);
    FIELD(aclken);
    FIELD(aclkdly);
    FIELD(version);
    FIELD(slowclk);
    FIELD(aw);
    FIELD(tmsofs);
    FIELD(tdoofs);
    FIELD(tckb);
    FIELD(loopb);
    FIELD(tckdly);
    FIELD(sn);
    FIELD(vclamp);
    FIELD(e0mode);
    FIELD(e1mode);
    return lines.text();
}

std::string describe(const PLL_Variable& record) {
    Lines lines;
    FIELD(found);
    FIELD(tclkProgram);
    FIELD(tclkBeginning);
    FIELD(tclkFrequency);
    FIELD(tclkAdvance);
    FIELD(tclkRetreat);
    FIELD(tclkTestMode);
    FIELD(tclkOverFlow);
    FIELD(tclkReference);
    FIELD(tclkInitial);
    FIELD(tclkTerminal);
    FIELD(useTclkProgram);
    FIELD(useTclkBeginning);
    FIELD(useTclkFrequency);
    FIELD(useTclkAdvance);
    FIELD(useTclkRetreat);
    FIELD(useTclkTestMode);
    FIELD(useTclkOverFlow);
    FIELD(useTclkReference);
    FIELD(useTclkInitial);
    FIELD(useTclkTerminal);
    FIELD(bitsKnown);
    FIELD(bitsLength);
    FIELD(useBitsLength);
    FIELD(irKnown);
    FIELD(drKnown);
    FIELD(irLength);
    FIELD(drLength);
    FIELD(useIrLength);
    FIELD(useDrLength);
    return lines.text();
}

std::string describe(const ZDL_Variable& record) {
    Lines lines;
    FIELD(found);
    FIELD(driverNameEcom);
    FIELD(useDrvrEcom);
    FIELD(portAddressEcom);
    FIELD(usePortEcom);
    FIELD(driverNameKelm);
    FIELD(useDrvrKelm);
    FIELD(portAddressKelm);
    FIELD(usePortKelm);
    FIELD(serialNameKelm);
    FIELD(useSerialNameKelm);
    FIELD(driverType);
    FIELD(pDriverName);
    lines.add("pDriverName is", record.pDriverName == nullptr                 ? "null"
                                : record.pDriverName == record.driverNameEcom ? "driverNameEcom"
                                : record.pDriverName == record.driverNameKelm ? "driverNameKelm"
                                                                              : "elsewhere");
    lines.add("pPortAddress is",
              record.pPortAddress == nullptr                   ? "null"
              : record.pPortAddress == &record.portAddressEcom ? "portAddressEcom"
              : record.pPortAddress == &record.portAddressKelm ? "portAddressKelm"
                                                               : "elsewhere");
    return lines.text();
}

} // namespace test_support
