// A repository is refused, or it is written back to the bytes that it was read from.
#include <zlib.h>

#include <string>

#include "tests/fuzz/fuzz_law.h"
#include "wkstd/state_stream.h"
#include "wkzp/parse_repository.h"

namespace wk {

void test_one_input(std::string_view bytes) {
  std::string checked(bytes);
  // Else hardly any input would come past the sum.
  append_u32(checked, static_cast<uint32_t>(adler32(1, reinterpret_cast<const Bytef*>(bytes.data()),
                                                    static_cast<uInt>(bytes.size()))));
  for (const std::string_view each : {bytes, std::string_view(checked)}) {
    parse_repository repository{.entries = {{.name = "kept", .source = ""}}};
    if (!read_parse_repository(each, repository)) {
      require_law(repository.entries.size() == 1 && repository.entries[0].name == "kept",
                  "a refused repository leaves the record alone");
      continue;
    }
    std::string written;
    write_parse_repository(repository, written);
    require_law(written == each, "a repository is written back as it was read");
  }
}

}  // namespace wk
