// From a request to the page that answers it.
#pragma once

#include "crawler/admin/admin_guard.h"
#include "crawler/core/crawler.h"
#include "crawler/fetch/http_message.h"

namespace wk {

// Fills the response, which was reset before. names is what the server is called on the connection
// that the request came by. Threads: the administration thread.
void answer_admin_request(Crawler& crawler, const admin_names& names, const http_request& request,
                          http_response& response);

}  // namespace wk
