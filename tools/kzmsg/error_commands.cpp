// kzmsg's commands on the library's error handling: lookup resolves a result
// code as a component's Raise does, demo runs the error-handling example.
#include <kzcommon/kzcommon.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "commands.h"
#include "inventory.h"
#include "text.h"

namespace kzmsg {
namespace {

// A component with no map of its own: its Raise(hr) asks the default map
// alone, and its texts come from `catalog` (null: none) before the
// library's own.
class CResolver : public CKZErrorHandling {
 public:
  explicit CResolver(const WCHAR* name) : catalogName(name) {}

 protected:
  const WCHAR* GetCatalogName() override { return catalogName; }
  // Only an object whose queue is off receives anything here; this one
  // keeps its queue on and reads what it raised from there.
  HRESULT OnMessage(CKZMsgString&) override { return S_OK; }

 private:
  const WCHAR* catalogName;
};

const char* FacilityName(std::uint32_t facility) {
  switch (facility) {
    case 0:
      return "NULL";
    case 1:
      return "RPC";
    case 2:
      return "DISPATCH";
    case 3:
      return "STORAGE";
    case 4:
      return "ITF";
    case 7:
      return "WIN32";
    case 8:
      return "WINDOWS";
    case 10:
      return "CONTROL";
    default:
      return nullptr;
  }
}

// The message that Raise(hr) queued, and where its text came from.
struct Raised {
  HRESULT code = S_OK;
  ULONG type = 0;
  WString text;
  WString simple;
  WString detail;
  ULONG errorNumber = 0;
  std::vector<std::uint32_t> ids;  // the ids whose text this is
  WString catalog;                 // the catalog that gave it
};

// A text as Raise fetches it: the client catalog's if it has one under the
// id, else the library's. The queue doesn't keep the id, so it is found
// back from the text.
struct Source {
  WString text;
  bool fromClient;
};

bool FindIds(const WString& clientName, const WString& text, Raised* out,
             HRESULT* failure) {
  std::map<std::uint32_t, Source> effective;
  std::vector<std::pair<std::uint32_t, WString>> texts;
  CKZCatalog own(OLESTR("kzcommon"));
  if (!ReadAllTexts(own, &texts, failure)) return false;
  for (auto& entry : texts) effective[entry.first] = {entry.second, false};
  if (!clientName.empty()) {
    texts.clear();
    CKZCatalog client(clientName.c_str());
    if (!ReadAllTexts(client, &texts, failure)) return false;
    for (auto& entry : texts) effective[entry.first] = {entry.second, true};
  }
  for (const auto& entry : effective) {
    if (entry.second.text != text) continue;
    if (out->ids.empty()) {
      out->catalog =
          entry.second.fromClient ? clientName : WString(OLESTR("kzcommon"));
    }
    out->ids.push_back(entry.first);
  }
  return true;
}

void Describe(const CKZErrorHandling::MessageInfo& info, Raised* out) {
  out->code = info.resultCode;
  out->type = info.messageType;
  out->text = Copy(info.messageText);
  CKZMsgString composite;
  if (composite.FormatMsg(info.messageType, info.messageText) < 0) return;
  CKZString part;
  if (composite.GetMsg(0, part) >= 0) out->simple = Copy(part);
  if (composite.GetMsg(1, part) >= 0) out->detail = Copy(part);
  out->errorNumber = composite.GetErrorNum();
}

std::string Decimal(HRESULT hr) {
  return std::to_string(static_cast<std::int32_t>(hr));
}

std::string IdList(const std::vector<std::uint32_t>& ids) {
  std::string list;
  for (std::uint32_t id : ids) {
    list += (list.empty() ? "" : ", ") + std::to_string(id);
  }
  return list;
}

void PrintJson(HRESULT hr, bool mapped, const Raised* raised) {
  const std::uint32_t bits = static_cast<std::uint32_t>(hr);
  const char* facilityName = FacilityName((bits >> 16) & 0x7FF);
  std::string line =
      "{\"code\": \"" + HexCode(hr) + "\", \"value\": " + Decimal(hr) +
      ", \"severity\": " + std::to_string(bits >> 31) +
      ", \"facility\": " + std::to_string((bits >> 16) & 0x7FF) +
      ", \"facility_name\": " +
      (facilityName ? "\"" + std::string(facilityName) + "\"" : "null") +
      ", \"code_field\": " + std::to_string(bits & 0xFFFF) +
      ", \"mapped\": " + (mapped ? "true" : "false") + ", \"raised\": ";
  if (raised == nullptr) {
    Print(line + "null}");
    return;
  }
  line += "{\"code\": \"" + HexCode(raised->code) +
          "\", \"type\": " + std::to_string(raised->type) +
          ", \"message_id\": " +
          (raised->ids.size() == 1 ? std::to_string(raised->ids[0]) : "null") +
          ", \"catalog\": " +
          (raised->ids.empty() ? "null" : ForJson(raised->catalog)) +
          ", \"text\": " + ForJson(raised->text) +
          ", \"simple\": " + ForJson(raised->simple) +
          ", \"detail\": " + ForJson(raised->detail) +
          ", \"error_number\": " + std::to_string(raised->errorNumber) + "}}";
  Print(line);
}

void PrintText(HRESULT hr, bool mapped, const Raised* raised) {
  const std::uint32_t bits = static_cast<std::uint32_t>(hr);
  const std::uint32_t facility = (bits >> 16) & 0x7FF;
  const char* facilityName = FacilityName(facility);
  Print("result code: " + HexCode(hr) + " = " + Decimal(hr));
  Print("severity: " + std::to_string(bits >> 31) +
        (bits >> 31 ? " (failure)" : " (success)"));
  Print("facility: " + std::to_string(facility) +
        (facilityName ? " (" + std::string(facilityName) + ")" : ""));
  Print("code: " + std::to_string(bits & 0xFFFF));
  if (raised == nullptr) {
    Print("in the default map: no; a success code, which Raise does not raise");
    return;
  }
  Print(mapped ? "in the default map: yes"
               : "in the default map: no; Raise publishes E_UNEXPECTED with "
                 "message 8 instead");
  Print("raised as: " + HexCode(raised->code) + ", type " +
        std::to_string(raised->type));
  if (raised->ids.empty()) {
    Print("message id: unknown");
  } else {
    Print(std::string(raised->ids.size() == 1 ? "message id: "
                                              : "message ids (one text): ") +
          IdList(raised->ids) + " (" + ForTerminal(raised->catalog) + ")");
  }
  Print("text: " + ForTerminal(raised->text));
  Print("simple: " + ForTerminal(raised->simple));
  Print("detail: " + ForTerminal(raised->detail));
}

}  // namespace

int RunLookup(const Invocation& in) {
  std::int64_t value;
  std::string error;
  if (!ParseNumber(in.args[0], INT32_MIN, UINT32_MAX, "result code", &value,
                   &error)) {
    return Usage(in, error);
  }
  // -1 and 0xFFFFFFFF are one code.
  const HRESULT hr =
      static_cast<HRESULT>(static_cast<std::uint32_t>(value & 0xFFFFFFFF));
  WString catalog;
  auto option = in.options.find("--catalog");
  if (option != in.options.end()) {
    int status = kOk;
    if (!CatalogName(in, option->second, &catalog, &status)) return status;
    if (!ModuleOpens(catalog)) return Fail(in, CannotOpen(option->second));
  }

  // A fresh process has an empty queue, so nothing closes the gate.
  CKZErrorHandling::ClearMessageQueue();
  CResolver resolver(catalog.empty() ? nullptr : catalog.c_str());
  const HRESULT result = resolver.Raise(hr);
  if (hr >= 0) {
    if (in.json) {
      PrintJson(hr, false, nullptr);
    } else {
      PrintText(hr, false, nullptr);
    }
    return kOk;
  }
  // Delivered, or mapped nowhere and replaced by message 8; anything else
  // is a failure of the library's own catalog or of memory.
  const bool mapped = result == S_OK;
  if (!mapped && !(result == E_UNEXPECTED && hr != E_UNEXPECTED)) {
    CKZErrorHandling::ClearMessageQueue();
    return Fail(in,
                "Raise(" + HexCode(hr) + ") failed with " + HexCode(result));
  }
  CKZErrorHandling::MessageList queued;
  const HRESULT read = CKZErrorHandling::GetMessageQueue(queued);
  CKZErrorHandling::ClearMessageQueue();
  if (read < 0)
    return Fail(in, "reading the queue failed with " + HexCode(read));
  if (queued.Size() != 1) {
    return Fail(in, "Raise(" + HexCode(hr) + ") queued " +
                        std::to_string(queued.Size()) + " messages, not one");
  }
  Raised raised;
  Describe(*queued.begin(), &raised);
  HRESULT failure = S_OK;
  if (!FindIds(catalog, raised.text, &raised, &failure)) {
    return Fail(in, "reading the catalogs failed with " + HexCode(failure));
  }
  if (in.json) {
    PrintJson(hr, mapped, &raised);
  } else {
    PrintText(hr, mapped, &raised);
  }
  return kOk;
}

int RunDemo(const Invocation&) { return RunInventoryExample(); }

}  // namespace kzmsg
