// RTProfiler: where time goes in nested sections of code.
//
// A caller brackets a section with enter() and exit(name). Per name the
// profiler keeps the section's total own time (its elapsed time minus the
// time spent in sections nested inside it) and how often it was exited.
// Names are compared byte by byte on their first 255 bytes. Totals are read
// back per name, walked in name order, written to the logger "KX.RTProfiler"
// at level 1, and reset.
//
// Thread safety: none. One profiler belongs to one thread, or its users
// serialise. Nothing throws; when memory runs out a frame or a total is not
// recorded (exit of a frame that could not be pushed logs the inconsistency).
#ifndef KXB_INCLUDE_KXBPROFILER_H_
#define KXB_INCLUDE_KXBPROFILER_H_

struct RTProfilerData;

class RTProfiler {
 public:
  RTProfiler();
  ~RTProfiler();
  RTProfiler(const RTProfiler&) = delete;
  RTProfiler& operator=(const RTProfiler&) = delete;

  // Opens a section: pushes a frame stamped now.
  void enter();
  // Closes the newest section under `name`. Without an open section logs
  // "Inconsistent profile entry/exit count for <name>." at level 5.
  void exit(const char* name);
  // Total own time of `name` in thousandths of a second and its exit count;
  // both 0 and false when the name is unknown.
  bool getData(const char* name, int* totalThousandths, int* count);
  // Walks the names in order: `first` true starts over, false moves one on.
  // Null at the end (and for every later call until started over).
  const char* getId(bool first);
  // At logger level 1: "Profiler dump <title>", then "<name>,<ms>,<count>"
  // per name. Writes nothing at higher levels.
  void dump(const char* title);
  // Logs "Profiler reset <title>" at level 1 and drops frames and totals.
  void reset(const char* title);

 private:
  RTProfilerData* data_;
};

#endif  // KXB_INCLUDE_KXBPROFILER_H_
