#include "broker/cimxml/service.h"

#include <malloc.h>

#include <exception>
#include <new>
#include <utility>

#include "broker/cimxml/contexts.h"
#include "broker/cimxml/header_check.h"
#include "broker/cimxml/http_error.h"
#include "broker/cimxml/reply_stream.h"
#include "broker/cimxml/task.h"

namespace broker::cimxml {
namespace {

void write_error(Text& text, const Error& error) {
  text << "<ERROR CODE=\"";
  text.number(std::uint64_t{static_cast<std::uint32_t>(error.status())});
  text << "\" DESCRIPTION=\"";
  text.attribute(error.description());
  text << "\"/>";
}

void carry_out(const Task& task) {
  const SimpleRequest& asked = task.asked;
  if (!asked.intrinsic) {
    if (asked.error) throw *asked.error;
    call_method(task);
    return;
  }
  const IntrinsicOperation* operation = find_operation(asked.name);
  if (!operation) {
    throw Error(Status::NotSupported, "operation " + asked.name + " is not supported");
  }
  task.manager.check_name_space(asked.target.name_space);
  if (asked.error) throw *asked.error;
  check_parameters(asked, *operation);
  operation->carry_out(task);
}

// One SIMPLERSP. An error takes the place of all that was written of the result.
void respond(const Task& task) {
  ReplyStream& output = task.output;
  Text& text = output.text();
  const std::string_view element = task.asked.intrinsic ? "IMETHODRESPONSE" : "METHODRESPONSE";
  text << "<SIMPLERSP><" << element << " NAME=\"";
  text.attribute(task.asked.name);
  text << "\">";
  const ReplyStream::Position start = output.position();
  const auto fail = [&](const Error& error) {
    output.take_back(start);
    write_error(text, error);
  };
  try {
    carry_out(task);
  } catch (const Reply::Gone&) {
    return;  // the other requests of the message are carried out all the same
  } catch (const Error& error) {
    fail(error);
  } catch (const std::bad_alloc&) {
    fail(Error(Status::Failed, "there is not enough memory"));
  } catch (const std::exception& exception) {
    fail(Error(Status::Failed, exception.what()));
  } catch (...) {
    fail(Error(Status::Failed, "an unknown exception"));
  }
  text << "</" << element << "></SIMPLERSP>";
}

void refuse(Reply& reply, const HttpError& error) {
  try {
    Reply::Headers headers;
    if (error.cim_error()) headers.emplace_back("CIMError", error.cim_error());
    if (error.http_status() == 501) headers.emplace_back("CIMProtocolVersion", "1.0");
    reply.begin(error.http_status(), headers);
  } catch (...) {
    // Nobody is left to be told.
  }
}

}  // namespace

Service::Service(ObjectManager& manager, const Limits& limits, Now now)
    : manager_(manager),
      limits_(limits),
      contexts_(std::make_unique<Contexts>(limits, std::move(now))) {
  // Left alone, the C library raises these to the size of the largest block that was ever freed. It
  // then keeps as much at the end of every thread's heap, where malloc_trim does not look.
  constexpr int kKeptBytes = 4 << 20;
  mallopt(M_MMAP_THRESHOLD, kKeptBytes);
  mallopt(M_TRIM_THRESHOLD, kKeptBytes);
}

Service::~Service() = default;

std::size_t Service::drop_expired() { return contexts_->drop_expired(); }

void Service::answer(const Call& call, Reply& reply) {
  ReplyStream output(reply);
  try {
    check_head(call);
    Allowance allowance{limits_.depth, limits_.elements};
    Message message = read_message(call.body, manager_.schema(), allowance, limits_.batch);
    check_match(call, message);
    Request caller;
    caller.principal = call.principal;
    caller.accept_language = call.accept_language;
    caller.client_has_gone = [&reply] { return reply.client_has_gone(); };
    Text& text = output.text();
    text << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.4\"><MESSAGE ID=\"";
    text.attribute(message.id);
    text << "\" PROTOCOLVERSION=\"1.0\">" << (message.batch ? "<MULTIRSP>" : "");
    for (SimpleRequest& asked : message.requests) {
      // A method of a batch is not begun any more for a client that has gone: one may take minutes.
      if (&asked != &message.requests.front() && !asked.intrinsic && reply.client_has_gone())
        asked.error.emplace(Status::Failed, "the client has gone before this was begun");
      respond({manager_, *contexts_, limits_, allowance, output, asked, caller});
    }
    text << (message.batch ? "</MULTIRSP>" : "") << "</MESSAGE></CIM>\n";
    output.finish();
  } catch (const Reply::Gone&) {
    // Nobody is left to be told.
  } catch (const HttpError& error) {
    refuse(reply, error);
  } catch (...) {
    // A result broke off, or there was no memory for the message itself.
    try {
      if (output.begun()) {
        reply.abandon();
      } else {
        reply.begin(500, {});
      }
    } catch (...) {
      // Nobody is left to be told.
    }
  }
}

}  // namespace broker::cimxml
