// Content plug-ins that are programs of their own, asked over their standard input and output.
//
// PLUG-IN PROTOCOL. Integers and texts are those of wkstd/state_stream.h: 4 bytes, lowest first; a
// length and so many bytes. At its start the plug-in writes one integer, whose meaning is its own;
// it tells that the plug-in is up. Then it reads one request after the other and answers each:
//
//   REQUEST                                          ANSWER
//   2, MIME type (text)                              certainty (1 byte)
//   3, URL (text)                                    certainty (1 byte)
//   4, content (text)                                certainty (1 byte)
//   5, first text, second text, content (each text)  status (integer); if it is not 0 also the
//                                                    output (text) and its type code (integer)
//   1                                                none; both streams are closed
//
// One exchange is under way at a time; threads wait for their turn. A plug-in that ends, takes too
// long, announces too much or writes what nobody asked for has lost its place in the protocol: it
// is killed, said once on standard error, and answers 0 to everything from then on. A stop of the
// crawl in the middle of an exchange ends it in the same way without a word.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>

#include "crawler/content/crawler_content_plugin.h"
#include "wkstd/process.h"

namespace wk {

struct external_plugin_limits {
  uint64_t start_ms = 30'000;     // from its start to its first integer
  uint64_t exchange_ms = 30'000;  // from the first byte sent to the last one read
  uint64_t end_ms = 5'000;        // to end after it was told to
  uint32_t output_bytes = 64 << 20;
};

// Starts the program with that argument vector and adds it to the set once its first integer has
// come. False, and nothing is left of it, when there is no such program or no integer comes. stop,
// which may be null and outlives the set, ends every wait when it is set.
[[nodiscard]] bool load_external_plugin(crawler_content_plugin& set,
                                        std::span<const std::string> arguments,
                                        const std::atomic<uint32_t>* stop,
                                        const external_plugin_limits& limits = {});
// The same for a program that runs already; name is for messages.
[[nodiscard]] bool add_external_plugin(crawler_content_plugin& set, const std::string& name,
                                       process_ptr program, const std::atomic<uint32_t>* stop,
                                       const external_plugin_limits& limits);

}  // namespace wk
