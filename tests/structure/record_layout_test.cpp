// The layout of the driver's own records. None of them leaves the process; those that do are held
// to their layout in the headers themselves.
#include "jsc_internal.h"

#include <gtest/gtest.h>

#include <iterator>

namespace {

TEST(RecordLayoutTest, AMappedBlock) {
    EXPECT_EQ(offsetof(ShareInform, size), 0U);
    EXPECT_EQ(offsetof(ShareInform, pMemory), 8U);
    EXPECT_EQ(offsetof(ShareInform, pHandle), 16U);
    EXPECT_EQ(offsetof(ShareInform, objectName), 24U);
    EXPECT_EQ(sizeof(ShareInform), 40U);
}

TEST(RecordLayoutTest, ThePartsOfABlocksName) {
    EXPECT_EQ(offsetof(ShareNames, pName0), 0U);
    EXPECT_EQ(offsetof(ShareNames, pName1), 8U);
    EXPECT_EQ(offsetof(ShareNames, pName2), 16U);
    EXPECT_EQ(offsetof(ShareNames, port), 24U);
    EXPECT_EQ(sizeof(ShareNames), 32U);
}

TEST(RecordLayoutTest, AWordLog) {
    EXPECT_EQ(offsetof(LS_LOGFILE, pLogFileData), 0U);
    EXPECT_EQ(offsetof(LS_LOGFILE, logFileSize), 8U);
    EXPECT_EQ(offsetof(LS_LOGFILE, logFileIndex), 12U);
    EXPECT_EQ(offsetof(LS_LOGFILE, logFileEntryMax), 16U);
    EXPECT_EQ(offsetof(LS_LOGFILE, logFileEnable), 20U);
    EXPECT_EQ(offsetof(LS_LOGFILE, logFileSilent), 21U);
    EXPECT_EQ(sizeof(LS_LOGFILE), 24U);
}

TEST(RecordLayoutTest, APendingRead) {
    EXPECT_EQ(offsetof(JSC_qel_oplist, op), 0U);
    EXPECT_EQ(offsetof(JSC_qel_oplist, count), 4U);
    EXPECT_EQ(offsetof(JSC_qel_oplist, ptr), 8U);
    EXPECT_EQ(offsetof(JSC_qel_oplist, next), 16U);
    EXPECT_EQ(sizeof(JSC_qel_oplist), 24U);
}

// Tools that look into a handle know its fields in this order; what the driver added follows
// behind.
TEST(RecordLayoutTest, AHandlesFieldsStandInTheirOrder) {
    const size_t offsets[] = {
        offsetof(JSC_Inform, tbcShare),
        offsetof(JSC_Inform, pJscControl),
        offsetof(JSC_Inform, ctlrSoftOpen),
        offsetof(JSC_Inform, ctlrHardOpen),
        offsetof(JSC_Inform, clientRecipe),
        offsetof(JSC_Inform, jtiClientType),
        offsetof(JSC_Inform, podError),
        offsetof(JSC_Inform, cfgHandle),
        offsetof(JSC_Inform, pCfgInterface),
        offsetof(JSC_Inform, zdlVariable),
        offsetof(JSC_Inform, tbcVariable),
        offsetof(JSC_Inform, pllVariable),
        offsetof(JSC_Inform, dot7Variable),
        offsetof(JSC_Inform, kelmVariable),
        offsetof(JSC_Inform, resetLogHandle),
        offsetof(JSC_Inform, qelVariable),
        offsetof(JSC_Inform, opList),
        offsetof(JSC_Inform, opListTail),
        offsetof(JSC_Inform, ProxyShm),
        offsetof(JSC_Inform, evStartSem),
        offsetof(JSC_Inform, evCompleteSem),
        offsetof(JSC_Inform, emuRevision),
        offsetof(JSC_Inform, instance),
        offsetof(JSC_Inform, opListFree),
        offsetof(JSC_Inform, batchError),
        offsetof(JSC_Inform, ownReads),
        offsetof(JSC_Inform, pod),
        offsetof(JSC_Inform, patienceMs),
        offsetof(JSC_Inform, proxyLost),
        offsetof(JSC_Inform, spin),
    };
    EXPECT_EQ(offsets[0], 0U);
    for (size_t field = 1; field < std::size(offsets); ++field) {
        EXPECT_GT(offsets[field], offsets[field - 1]) << field;
    }
}

TEST(RecordLayoutTest, VariableRecordsBeginWithFound) {
    EXPECT_EQ(offsetof(TBC_Variable, found), 0U);
    EXPECT_EQ(offsetof(PLL_Variable, found), 0U);
    EXPECT_EQ(offsetof(DOT7_Variable, found), 0U);
    EXPECT_EQ(offsetof(KELM_Variable, found), 0U);
    EXPECT_EQ(offsetof(QEL_Variable, found), 0U);
    EXPECT_EQ(offsetof(ZDL_Variable, found), 0U);
    EXPECT_EQ(offsetof(TBC_Variable, slowFreq), 12U);
    EXPECT_EQ(offsetof(ZDL_Variable, pDriverName) % 8, 0U);
}

} // namespace
