/*
 * minimal_pod.h: what minimal_proxy.c has instead of a pod: a scan controller and, behind it, one
 * TAP with an IDCODE and BYPASS. A proxy for real pods sends the accesses to its hardware here.
 */
#ifndef MINIMAL_POD_H
#define MINIMAL_POD_H

#include <stdbool.h>
#include <stdint.h>
#include <string.h>

#define POD_SERIAL 7u
#define POD_REVISION 0x0200u
#define POD_IDCODE 0x15AFE7E3u

enum port {
    PORT_COMMAND = 1,    /* 0x0400 enters the loop-back test, 0x0004 leaves it */
    PORT_CONFIG = 4,     /* what a scan sends and keeps */
    PORT_CONTROL = 10,   /* 0x4080 runs an operation, 0x6001 empties the buffers */
    PORT_OPERATION = 11, /* bits 2..0: end state; bit 3: instruction path; 0x3000: a scan */
    PORT_COUNT_LOW = 12, /* bits to shift, minus one */
    PORT_COUNT_HIGH = 13,
    PORT_STATUS = 17,
    PORT_STATE = 18,
    PORT_VERSION = 19,
    PORT_RECEIVE = 22,
    PORT_SEND = 23,
    PORT_SUPPORT = 31,
    PORTS = 32,
};
/* End states, as register 11 gives them; the first two read one higher. */
enum state { RESET = 0, IDLE = 2, PAUSE_DR = 6, PAUSE_IR = 7 };
enum { ONES = 0x0100, SEND = 0x0300, KEEP = 0x0400, QUEUE = 16, IR_BITS = 4, READ_IDCODE = 1 };

static struct pod {
    uint16_t registers[PORTS];
    bool loopback;
    enum state state;
    uint32_t instruction, shifter, length; /* the register on the path, and its bits */
    uint32_t pipeline;                     /* 16 bits on their way back from the target */
    uint64_t left;                         /* bits of the scan that are not shifted yet */
    uint16_t queue[QUEUE];                 /* words received */
    unsigned queued;
} pod = {.pipeline = 0xFFFF, .instruction = READ_IDCODE};

/* To a stable state. A Pause state is entered through Capture, and left through Update. */
static inline void pod_move(enum state to) {
    if (to == pod.state && to >= PAUSE_DR) {
        return;
    }
    if (pod.state == PAUSE_IR) {
        pod.instruction = pod.shifter;
    }
    if (to == RESET) {
        pod.instruction = READ_IDCODE;
    } else if (to == PAUSE_IR) {
        pod.shifter = 1;
        pod.length = IR_BITS;
    } else if (to == PAUSE_DR) { /* every other instruction is BYPASS */
        pod.shifter = pod.instruction == READ_IDCODE ? POD_IDCODE : 0;
        pod.length = pod.instruction == READ_IDCODE ? 32 : 1;
    }
    pod.state = to;
}

static inline enum state end_state(void) {
    const unsigned code = pod.registers[PORT_OPERATION] & 7;
    return code >= PAUSE_DR ? (enum state)code : code >= IDLE ? IDLE : RESET;
}

/* Shifts up to 16 bits of the scan, lowest first; with the last one the scan is over. */
static inline void pod_shift(uint32_t out) {
    uint32_t in = 0;
    for (unsigned bit = 0; bit < 16 && pod.left != 0; ++bit, --pod.left) {
        in |= (pod.pipeline & 1) << bit;
        pod.pipeline = pod.pipeline >> 1 | (pod.shifter & 1) << 15;
        pod.shifter = pod.shifter >> 1 | (out >> bit & 1) << (pod.length - 1);
    }
    if ((pod.registers[PORT_CONFIG] & KEEP) != 0 && pod.queued < QUEUE) {
        pod.queue[pod.queued++] = (uint16_t)in;
    }
    if (pod.left == 0) {
        pod_move(end_state());
    }
}

static inline void pod_run(void) {
    const unsigned operation = pod.registers[PORT_OPERATION];
    const unsigned config = pod.registers[PORT_CONFIG];
    if ((operation & 0x3000) != 0x3000) {
        pod_move(end_state());
        return;
    }
    pod_move((operation & 8) != 0 ? PAUSE_IR : PAUSE_DR);
    pod.left = (pod.registers[PORT_COUNT_LOW] | (uint64_t)pod.registers[PORT_COUNT_HIGH] << 16) + 1;
    while (pod.left != 0 && (config & SEND) != SEND && (config & KEEP) == 0) {
        pod_shift((config & ONES) != 0 ? 0xFFFF : 0); /* no data: one level all along */
    }
}

static inline uint16_t reversed(uint16_t word) {
    uint16_t result = 0;
    for (unsigned bit = 0; bit < 16; ++bit) {
        result = (uint16_t)(result << 1 | (word >> bit & 1));
    }
    return result;
}

/* Writes a register. */
static inline void pod_write(unsigned port, uint16_t value) {
    pod.registers[port] = value;
    if (port == PORT_COMMAND && (value & 0x0404) != 0) {
        pod.loopback = (value & 0x0400) != 0;
        pod.queued = 0;
    } else if (port == PORT_CONTROL && value == 0x4080) {
        pod_run();
    } else if (port == PORT_CONTROL && (value & 0x7001) == 0x7001) {
        memset(pod.registers, 0, sizeof pod.registers);
        pod.left = 0;
        pod_move(RESET);
    } else if (port == PORT_CONTROL && value == 0x6001) {
        pod.queued = 0;
    } else if (port == PORT_SEND && pod.loopback && pod.queued < QUEUE) {
        pod.queue[pod.queued++] = reversed(value);
    } else if (port == PORT_SEND && pod.left != 0) {
        pod_shift(value);
    }
}

/* Reads a register. */
static inline uint16_t pod_read(unsigned port) {
    uint16_t word;
    switch (port) {
    case PORT_STATUS:
        return 0x8003; /* alive, both EMU pins high */
    case PORT_STATE:
        return (uint16_t)(pod.state <= IDLE ? pod.state + 1 : pod.state);
    case PORT_VERSION:
        return 1; /* a basic controller */
    case PORT_SUPPORT:
        return 0x00E0; /* power and clock are there, utility revision 1 */
    case PORT_RECEIVE:
        if (pod.queued == 0 && pod.left != 0) {
            pod_shift(0); /* a scan that only receives sends zeros */
        }
        if (pod.queued == 0) {
            return 0xFFFF;
        }
        word = pod.queue[0];
        memmove(pod.queue, pod.queue + 1, --pod.queued * sizeof word);
        return word;
    default:
        return pod.registers[port];
    }
}

#endif /* MINIMAL_POD_H */
