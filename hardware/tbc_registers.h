/*
 * tbc_registers.h: the scan controller's register map, its bits and the words written to it.
 *
 * The one place for these names, for the driver and for the simulated pod. Registers are 16 bits
 * wide and are reached as ports, by number. pod_revision.h tells which pods have which bits. Stands
 * on its own (C11 or C++20).
 */
#ifndef TBC_REGISTERS_H
#define TBC_REGISTERS_H

#include <stdint.h>

/* ---- ports ------------------------------------------------------------------------------------
 */

#define TBC_PORT_BOOT 0          /* cleared at initialisation */
#define TBC_PORT_COMMAND 1       /* TBC_COMMAND_...: version select, loop-back, counter latch */
#define TBC_PORT_OUTPUT 2        /* TBC_OUTPUT_CONNECTED */
#define TBC_PORT_CLOCK_OUT 3     /* TBC_CLOCK_OUT_OFF */
#define TBC_PORT_CONFIG 4        /* scan configuration, TBC_CONFIG_... and TBC_OPTION_... */
#define TBC_PORT_POD_CONTROL 5   /* TBC_POD_... */
#define TBC_PORT_EVENT_CONTROL 9 /* event counter control, TBC_EVENT_... */
#define TBC_PORT_CONTROL 10      /* TBC_CONTROL_... */
#define TBC_PORT_OPERATION 11    /* end state code ORed with a transit word */
#define TBC_PORT_COUNT_LOW 12    /* bit count minus one, low half */
#define TBC_PORT_COUNT_HIGH 13   /* bit count minus one, high half */
#define TBC_PORT_LIMIT_LOW 14    /* event counter limit, low half */
#define TBC_PORT_LIMIT_HIGH 15   /* event counter limit, high half */
#define TBC_PORT_STATUS0 16      /* status register 0; a write of 0 is a settle delay */
#define TBC_PORT_STATUS1 17      /* status register 1, TBC_STATUS1_... */
#define TBC_PORT_TAP_STATE 18    /* TAP state code in bits 2..0 */
#define TBC_PORT_VERSION 19      /* controller kind in bits 3..0 while the version is selected */
#define TBC_PORT_EVENT_LOW 20    /* latched event count, low half */
#define TBC_PORT_EVENT_HIGH 21   /* latched event count, high half */
#define TBC_PORT_RECEIVE 22      /* data received */
#define TBC_PORT_SEND 23         /* data to send */
#define TBC_PORT_POD_PINS 25     /* pod pin register, POD_PINS_... */
#define TBC_PORT_POD_CLOCK 26    /* pod clock register, POD_CLOCK_... */
#define TBC_PORT_POD_TIMING 27   /* pod timing register, POD_TIMING_... */
#define TBC_PORT_EXTENDED 28     /* command register of an extended controller */
#define TBC_PORT_SUPPORT 31      /* support (utility) register, SUPPORT_... */

#define TBC_CACHED_PORTS 16   /* ports 0 to 15 are cached on the host's side */
#define TBC_BASIC_PORTS 24    /* every controller has ports 0 to 23 */
#define TBC_EXTENDED_PORTS 32 /* extended controllers have ports 0 to 31 */

/* ---- TBC_PORT_COMMAND -------------------------------------------------------------------------
 */

#define TBC_COMMAND_VERSION 0x0001  /* select the version register */
#define TBC_COMMAND_LATCH 0x0002    /* latch the event counter */
#define TBC_COMMAND_RELEASE 0x0004  /* leave version and loop-back, release the counter latch */
#define TBC_COMMAND_LOOPBACK 0x0400 /* enter the loop-back test */

/* ---- TBC_PORT_OUTPUT, TBC_PORT_CLOCK_OUT ------------------------------------------------------
 */

#define TBC_OUTPUT_CONNECTED 0x0001 /* outputs drive the target */
#define TBC_CLOCK_OUT_OFF 0x0010    /* test clock output off */

/* ---- TBC_PORT_CONFIG --------------------------------------------------------------------------
 */

#define TBC_CONFIG_LINK_MASK 0x001F  /* link delay in test clocks */
#define TBC_CONFIG_DEFAULT 0x0080    /* set by every long initialisation */
#define TBC_OPTION_ONES 0x0100       /* the line sends ones; with TBC_OPTION_DATA: data is sent */
#define TBC_OPTION_DATA 0x0200       /* the scan moves data words */
#define TBC_OPTION_RECEIVE 0x0400    /* received bits are collected */
#define TBC_CONFIG_LOOPBACK 0x0800   /* set during the loop-back test */
#define TBC_CONFIG_DATA_FALL 0x1000  /* data-in on the falling edge */
#define TBC_CONFIG_EVENT_FALL 0x2000 /* event-in on the falling edge */

/* Scan options as the scan engine combines them. */
#define TBC_SCAN_ZEROS 0x0000
#define TBC_SCAN_ONES (TBC_OPTION_ONES)
#define TBC_SCAN_SEND (TBC_OPTION_DATA | TBC_OPTION_ONES)
#define TBC_SCAN_RECEIVE (TBC_OPTION_RECEIVE | TBC_OPTION_DATA)
#define TBC_SCAN_BOTH (TBC_OPTION_RECEIVE | TBC_OPTION_DATA | TBC_OPTION_ONES)

/* ---- TBC_PORT_POD_CONTROL ---------------------------------------------------------------------
 */

#define TBC_POD_CLEAR 0x0004    /* low: pulses TRSTn; rising: clears the condition latch */
#define TBC_POD_TDO_EDGE 0x0008 /* TDO sampling edge */
#define TBC_POD_EVENT2 0x0400   /* event-2 enable, set on every write of the utility code */
#define TBC_POD_EVENT3 0x0800   /* event-3 enable, set on every write of the utility code */

/* ---- TBC_PORT_EVENT_CONTROL -------------------------------------------------------------------
 */

#define TBC_EVENT_BASE 0x0600  /* counter control with nothing chosen */
#define TBC_EVENT_PIN1 0x0040  /* count EMU1 instead of EMU0 */
#define TBC_EVENT_RISE 0x0020  /* count rising edges */
#define TBC_EVENT_START 0x0008 /* start bit */
#define TBC_EVENT_LIMIT 0xFFFF /* both limit halves: count without limit */

/* ---- TBC_PORT_CONTROL -------------------------------------------------------------------------
 */

#define TBC_CONTROL_RUN 0x4080   /* run the operation of registers 4 and 11 to 13 */
#define TBC_CONTROL_EMPTY 0x6001 /* empty both data buffers, end loop-back data */
#define TBC_CONTROL_PINS 0x6040  /* long initialisation, before the EMU pins are read */
#define TBC_CONTROL_RESET 0x7001 /* controller reset; all these bits set resets the controller */
#define TBC_CONTROL_SHORT 0x7002 /* first control word of the short initialisation */
#define TBC_CONTROL_IDLE 0x7004  /* last control word of initialisation and loop-back test */

/* ---- TBC_PORT_OPERATION -----------------------------------------------------------------------
 */

/* State codes, bits 2..0. */
#define TBC_STATE_RESET 0        /* Test-Logic-Reset, as written */
#define TBC_STATE_RESET_READ 1   /* Test-Logic-Reset, as read */
#define TBC_STATE_IDLE 2         /* Run-Test/Idle, as written */
#define TBC_STATE_IDLE_READ 3    /* Run-Test/Idle, as read */
#define TBC_STATE_SHIFT_DR 4     /* Shift-DR */
#define TBC_STATE_SHIFT_IR 5     /* Shift-IR */
#define TBC_STATE_PAUSE_DR 6     /* Pause-DR; also the data path of a shift */
#define TBC_STATE_PAUSE_IR 7     /* Pause-IR; also the instruction path of a shift */
#define TBC_STATE_MASK 0x0007    /* the code */
#define TBC_STATE_IR_PATH 0x0008 /* the instruction path is meant */

/* Transit words: how the state is reached. */
#define TBC_TRANSIT_QUICKEST 0x0000 /* shortest path, when it opens a command */
#define TBC_TRANSIT_VIA_CAPTURE                                                                    \
    0x1000                           /* through the path's Capture state; also: closes a command */
#define TBC_TRANSIT_VIA_IDLE 0x20E0  /* through Run-Test/Idle */
#define TBC_TRANSIT_SCAN 0x3000      /* a scan */
#define TBC_TRANSIT_IDLE_MASK 0x00E0 /* test clocks spent in Run-Test/Idle, in bits 7..5 */
#define TBC_TRANSIT_IDLE_SHIFT 5

/* ---- TBC_PORT_STATUS1 -------------------------------------------------------------------------
 */

#define TBC_STATUS1_EMU0 0x0001  /* level of EMU0 */
#define TBC_STATUS1_EMU1 0x0002  /* level of EMU1 */
#define TBC_STATUS1_ALIVE 0x8000 /* the controller is alive */

/* ---- TBC_PORT_VERSION, TBC_PORT_EXTENDED ------------------------------------------------------
 */

#define TBC_VERSION_MASK 0x000F /* JTI_ControlId */

#define TBC_EXTENDED_RESET 0xF001 /* extended controller: reset */
#define TBC_EXTENDED_LOAD 0x8030  /* extended controller: first set-up word */
#define TBC_EXTENDED_START 0x9030 /* extended controller: second set-up word */

/* ---- pod registers, written at connect --------------------------------------------------------
 */

#define POD_CLOCK_DIVIDER_MASK 0x000F  /* bits 3..0: divider field */
#define POD_CLOCK_TCK_LOAD 0x0010      /* bit 4 */
#define POD_CLOCK_TDI_LOAD 0x0020      /* bit 5 */
#define POD_CLOCK_SHORT_DELAY 0x0040   /* bit 6 */
#define POD_CLOCK_PREDIVIDE 0x0080     /* bit 7 */
#define POD_CLOCK_ADAPT_DELAY_SHIFT 8  /* bits 10..8, pods without a clock exponent */
#define POD_CLOCK_ADAPT_DELAY_MASK 0x7 /* before the shift */
#define POD_CLOCK_ADAPT_ENABLE 0x0800  /* bit 11 */
#define POD_CLOCK_EXPONENT_SHIFT 12    /* bits 14..12, pods with a clock exponent */
#define POD_CLOCK_EXPONENT_MASK 0x7    /* before the shift */

#define POD_TIMING_HOST_WAITS                                                                      \
    0x0001                         /* bit 0 set: the batch holds the status waits; clear: the pod  \
                                      waits by itself */
#define POD_TIMING_NO_TCKR 0x0002  /* bit 1 */
#define POD_TIMING_TMS_SHIFT 2     /* bits 4..2 */
#define POD_TIMING_TDO_SHIFT 5     /* bits 7..5 */
#define POD_TIMING_OFFSET_MASK 0x7 /* before either shift */
#define POD_TIMING_EMU0 0x0100     /* bit 8, pods with a pin register */
#define POD_TIMING_EMU1 0x0200     /* bit 9, pods with a pin register */
#define POD_TIMING_BYPASS_SHIFT 10 /* bits 11..10 */
#define POD_TIMING_BYPASS_MASK 0x3 /* before the shift */
#define POD_TIMING_LOOPBACK 0x1000 /* bit 12 */

#define POD_PINS_CLAMP_MASK 0x000F /* bits 3..0: voltage clamp */
#define POD_PINS_CLAMP_HIGH 0x0080 /* bit 7: bit 4 of the clamp, where there is one */
#define POD_PINS_CLAMP_BIT4 0x0010 /* that bit within the clamp value */
#define POD_PINS_EMU0 0x0020       /* bit 5: EMU0 mode is 2 */
#define POD_PINS_EMU1 0x0040       /* bit 6: EMU1 mode is 2 */
#define POD_EMU_MODE_DRIVEN 2      /* the EMU pin mode that those two bits report */

/* ---- TBC_PORT_SUPPORT -------------------------------------------------------------------------
 */

#define SUPPORT_CONDITION 0x0001     /* condition latch: TRST status, power loss */
#define SUPPORT_REVISION_MASK 0x00E0 /* utility revision, inverted */
#define SUPPORT_REVISION_SHIFT 5
#define SUPPORT_RESET 0x0100      /* target reset asserted */
#define SUPPORT_CLOCK_LOST 0x0200 /* test clock lost; pods from generation 2 on */

/* ---- link delay -------------------------------------------------------------------------------
 */

#define LINK_DELAY_DEFAULT 3  /* test clocks */
#define LINK_DELAY_MAXIMUM 31 /* test clocks */

#endif /* TBC_REGISTERS_H */
