#pragma once

#include <memory>

#include "orbelin/networking/request.h"

// What every first-generation store has in common.
//
// A network operation builds one call of the endpoint catalogue (Request),
// executes it, attaches one JSON handler and returns the library request at
// once; the caller may chain more on it (validate(), another handler) before
// the reply arrives.
//
// Delivery: the completion handler runs exactly once, on the main queue
// (platform::MainQueue), never inside the call that started the request.
// When the networking library reports an error, the handler gets that error
// unchanged and every result absent; otherwise it gets the imported records
// and no error. A reply that lacks the members a store reads is not an error:
// lists come back empty and single records with fallback values. An empty
// std::function as handler is allowed; the request then runs for nothing.
//
// Ownership: the records handed to a handler belong to the one context of
// CoreDataStack::sharedInstance() and live until the process ends, so callers
// hold plain pointers and never delete them. Every reply is imported into new
// records; a change made to a record (completeTask and the like) is seen only
// through that record, never in the next reply.
//
// Threads: read and change records only on the main thread, where replies are
// delivered and imported. The synchronous functions run on the caller's
// thread and keep no state.
namespace orbelin {

using StoreRequest = std::shared_ptr<TamberNetworking::Request>;

}  // namespace orbelin
