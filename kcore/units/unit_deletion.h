#pragma once

// Units whose last reference is gone, waiting to be deleted.

namespace kestrel {

class unit_t;

class unit_deletion_list_t {
  public:
    // Safe from several threads. A unit waits once, however often its last reference goes.
    static void append(unit_t &unit);

    // Deletes what waits and still has no reference, and what that leaves without one. Units that are still
    // live are taken down first. No other thread may use units without a reference meanwhile.
    static void process();

  private:
    static unit_t *take_first();
};

} // namespace kestrel
