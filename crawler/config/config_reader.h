// Reading one profile out of a configuration file.
//
// Two readers over two XML libraries fill the record through one walk; they differ in the messages
// about the file itself and in which of several profiles with one name they take (the libxml2
// reader the last, the other the first). A name that no profile has selects the first profile. Null
// when there is none, after a message on standard error that says where a file is broken. A
// frontier with nb_queues 0 or less ends the process.
//
// Both make the same record, and refuse the same files, but for two things: the second reader takes
// of encodings only UTF-8, UTF-16 and Latin-1, and it refuses a file that uses an entity which the
// file declares, which the libxml2 reader expands. A document type may name a DTD, which is not
// loaded. Every declaration but that of an internal general entity is refused.
#pragma once

#include <string>

#include "crawler/config/crawler_config.h"

namespace wk {

// name is empty when none was asked for.
[[nodiscard]] crawler_config_ptr read_config_with_libxml(const std::string& path,
                                                         const std::string& name);
[[nodiscard]] crawler_config_ptr read_config_without_libxml(const std::string& path,
                                                            const std::string& name);

}  // namespace wk
