// The error documents byte for byte, the code map, the thread's error description, the infos
// rules of copies, and the version number.
#include <string>

#include <gtest/gtest.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

using namespace RESTSupport;

// The text of a JSON object, which the call gives back.
std::string TextOf(IJSONObject *json) {
  BSTR text = nullptr;
  json->ToJSONString(&text);
  std::string narrow(text, text + SysStringLen(text));
  SysFreeString(text);
  json->Release();
  return narrow;
}

IJSONObject *NewObject() {
  IJSONObject *made = nullptr;
  KzCreateInstance(CLSID_JSONObject, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONObject),
                   reinterpret_cast<void **>(&made));
  return made;
}

std::string Form(const RESTError &error) {
  IJSONObject *object = nullptr;
  error.ToJSONObject(&object);
  return TextOf(object);
}

std::string Document(int code, const std::string &message, const std::string &details = "") {
  return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"(","details":[)" +
         details + "]}}";
}

void SetThreadError(const WCHAR *description) {
  ICreateErrorInfo *made = nullptr;
  IErrorInfo *info = nullptr;
  CreateErrorInfo(&made);
  made->SetDescription(const_cast<WCHAR *>(description));
  made->QueryInterface(KZ_IID(IErrorInfo), reinterpret_cast<void **>(&info));
  SetErrorInfo(0, info);
  info->Release();
  made->Release();
}

// The body of the text form, from outputs that already hold something: what they held is given
// back (the sanitizer build checks) and the properties become the fixed text.
std::string Body(HRESULT hr) {
  BSTR properties = SysAllocString(u"stale");
  SAFEARRAY *body = SafeArrayCreateVector(VT_UI1, 0, 4);
  EXPECT_EQ(HandleError(hr, &properties, &body), S_OK);
  EXPECT_EQ(std::u16string(properties), uR"({"Content-Type":"text/plain", "Success":false})");
  std::string bytes(static_cast<const char *>(body->pvData), body->rgsabound[0].cElements);
  SysFreeString(properties);
  SafeArrayDestroy(body);
  return bytes;
}

TEST(RESTError, StandardErrorsAndTheirDocuments) {
  const struct {
    const RESTError &constant;
    ULONG hr;
    int code;
    std::string message;
  } table[] = {
      {RESTError::GenericError, 0x80004005, 400, "Unable to complete operation."},
      {RESTError::InvalidArgs, 0x80070057, 400, "Invalid or missing input parameters."},
      {RESTError::InvalidUrl, 0x80040501, 400, "Invalid URL."},
      {RESTError::AccessDenied, 0x80070005, 400, "Access denied."},
      {RESTError::CapabilityError, 0x80040502, 400, "Requested operation is not supported by this service."},
      {RESTError::BadOutputFormat, 0x80040503, 400, "Requested format is not supported."},
      {RESTError::ValidTokenAccessDenied, 0x80040203, 403, "Token is valid but access is denied."},
      {RESTError::TokenRequired, 0x8004021A, 499, "Token required but not passed in the request."},
      {RESTError::OperationRolledBack, 0x80040504, 400, "Operation rolled back."},
      {RESTError::ServiceUnavailable, 0x80040220, 503, "Service unavailable."},
      {RESTError::PrivilegesError, 0x80040505, 400, "User does not have privileges to perform this operation."},
      // Codes without an error of their own, success codes among them.
      {RESTError::GenericError, 0, 400, "Unable to complete operation."},
      {RESTError::GenericError, 0x80040506, 400, "Unable to complete operation."},
  };
  for (const auto &row : table) {
    EXPECT_EQ(Form(row.constant), Document(row.code, row.message));
    EXPECT_EQ(Body(static_cast<HRESULT>(row.hr)), Document(row.code, row.message));
  }
  EXPECT_EQ(Body(REST_E_INVALID_URL), R"({"error":{"code":400,"message":"Invalid URL.","details":[]}})");
}

TEST(RESTError, ThreadDescriptionGoesToDetails) {
  SetThreadError(u"boom");
  EXPECT_EQ(Body(E_FAIL), Document(400, "Unable to complete operation.", R"("boom")"));
  EXPECT_EQ(Body(E_FAIL), Document(400, "Unable to complete operation."));  // taken by the first
  SetThreadError(u"");
  EXPECT_EQ(Body(E_INVALIDARG), Document(400, "Invalid or missing input parameters."));
  SetThreadError(u"why");
  RESTError error(1, u"old");
  error.details.Insert(u"earlier");
  EXPECT_TRUE(ComErrorToRestError(E_ACCESSDENIED, error));
  EXPECT_EQ(Form(error), Document(400, "Access denied.", R"("why")"));
}

TEST(RESTError, InfosAcrossCopiesAndClear) {
  RESTError error(400, u"m");
  error.details.Insert(u"d");
  KzCreateInstance(CLSID_JSONArray, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONArray),
                   reinterpret_cast<void **>(&error.infos));
  error.infos->AddInteger(7);
  EXPECT_EQ(Form(error), R"({"error":{"code":400,"message":"m","details":["d"],"infos":[7]}})");

  RESTError copy(error);
  copy = RESTError(499, u"other");  // no infos in the source: the target keeps its own
  EXPECT_EQ(Form(copy), R"({"error":{"code":499,"message":"other","details":[],"infos":[7]}})");
  const RESTError &same = copy;
  copy = same;
  copy.Clear();  // emptied and kept: still the one the first error holds
  EXPECT_EQ(Form(copy), R"({"error":{"code":0,"message":"","details":[],"infos":[]}})");
  EXPECT_EQ(Form(error), R"({"error":{"code":400,"message":"m","details":["d"],"infos":[]}})");
}

TEST(RESTVersion, AddedAsTenPointSix) {
  IJSONObject *object = NewObject();
  EXPECT_EQ(AddRESTCurrentVersion(object, u"currentVersion"), S_OK);
  double value = 0;
  object->GetNumber(u"currentVersion", &value);
  EXPECT_EQ(value, 10.6);  // 4 digits of the float's 10.600000381469727
  EXPECT_EQ(TextOf(object), R"({"currentVersion":10.6})");
  IJSONWriter *writer = nullptr;
  KzCreateInstance(CLSID_JSONWriter, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONWriter),
                   reinterpret_cast<void **>(&writer));
  writer->StartObject(nullptr);
  EXPECT_EQ(WriteRESTCurrentVersion(writer, u"v"), S_OK);
  writer->EndObject();
  BSTR text = nullptr;
  writer->GetText(&text);
  EXPECT_EQ(std::u16string(text), uR"({"v":10.6})");
  SysFreeString(text);
  writer->Release();
  EXPECT_EQ(AddRESTCurrentVersion(nullptr, u"v"), E_INVALIDARG);
  EXPECT_EQ(WriteRESTCurrentVersion(nullptr, u"v"), E_INVALIDARG);
}

}  // namespace
