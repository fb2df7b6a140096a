// upnp_thread_once.cpp - thread starts whose argument is used exactly once.
//
// upnp_start_thread may run its function twice with one argument. The argument
// here is a ticket for a slot that holds the real function and argument. The
// first thread to show a ticket empties the slot; a second one finds the slot
// gone on and ends. Tickets are numbers and the slots are fixed, so neither is
// ever freed under a late comer.

#include "runtime/upnp_thread_once.h"

#include <array>
#include <atomic>

namespace {
// The step counts up through the life of the slot and never repeats; its last
// two bits tell the state. Who moves it from FREE or WAITING owns the slot.
struct Slot {
    std::atomic<uint64_t> step;
    UpnpThreadFunction    fn;
    void                 *arg;
};

enum State {
    FREE,      // anyone may take it
    FILLING,   // the starter writes fn and arg
    WAITING,   // for the thread with the ticket
    EMPTYING,  // that thread reads fn and arg
    STATES
};
}

// A slot is occupied from a start until its thread runs, which is short.
static constexpr unsigned SLOT_BITS = 8;
static constexpr size_t   SLOTS = size_t{ 1 } << SLOT_BITS;
static constexpr int32_t  FULL_PAUSE_MS = 1;

static std::array<Slot, SLOTS> slots;

// A ticket is the WAITING step and, in its low bits, the number of the slot.
static uintptr_t make_ticket(size_t number, uint64_t step)
{
    return static_cast<uintptr_t>(step << SLOT_BITS | number);
}

static Slot &slot_of(uintptr_t ticket)
{
    return slots[ticket % SLOTS];
}

// Moves the ticket's slot on by some steps; whether it still was waiting.
static bool move_on(uintptr_t ticket, uint64_t steps)
{
    uint64_t step = ticket >> SLOT_BITS;

    return slot_of(ticket).step.compare_exchange_strong(step, step + steps);
}

static bool take_free(Slot &slot, uint64_t *step)
{
    *step = slot.step;
    return *step % STATES == FREE &&
           slot.step.compare_exchange_strong(*step, *step + FILLING);
}

static uintptr_t fill_free_slot(UpnpThreadFunction fn, void *arg)
{
    for (;; Sleep(FULL_PAUSE_MS)) {
        for (size_t number = 0; number < SLOTS; ++number) {
            Slot    &slot = slots[number];
            uint64_t step;

            if (!take_free(slot, &step))
                continue;
            slot.fn = fn;
            slot.arg = arg;
            slot.step = step + WAITING;
            return make_ticket(number, step + WAITING);
        }
    }
}

static void *run_ticket(void *param)
{
    auto  ticket = reinterpret_cast<uintptr_t>(param);
    Slot &slot = slot_of(ticket);

    if (!move_on(ticket, EMPTYING - WAITING))
        return nullptr;

    UpnpThreadFunction fn = slot.fn;
    void              *arg = slot.arg;
    slot.step += STATES - EMPTYING;
    return fn(arg);
}

bool thread_once::start(UpnpThreadFunction fn, void *arg, int32_t priority)
{
    uintptr_t ticket = fill_free_slot(fn, arg);

    if (upnp_start_thread(run_ticket, reinterpret_cast<void *>(ticket),
                          priority) != 0)
        return true;

    // No thread was started, so the ticket is taken back - unless a thread
    // has shown it all the same.
    return !move_on(ticket, STATES - WAITING);
}
