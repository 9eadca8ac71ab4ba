// The error documents byte for byte, the code map, the thread's error description, the infos
// rules of copies, and the version number.
#include <string>

#include <gtest/gtest.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/rest/rest_dispatcher.h>
#include <kzcore/server/rest/rest_error.h>

namespace {

using namespace RESTSupport;

std::u16string Take(BSTR text) {
  std::u16string copy = text != nullptr ? std::u16string(text, SysStringLen(text)) : u"<null>";
  SysFreeString(text);
  return copy;
}

template <class Interface>
Interface *Make(REFCLSID clsid) {
  Interface *made = nullptr;
  KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(&made));
  return made;
}

template <class Json>
std::u16string TextOf(Json *json) {
  BSTR text = nullptr;
  json->ToJSONString(&text);
  return Take(text);
}

std::u16string Wide(const std::string &ascii) { return std::u16string(ascii.begin(), ascii.end()); }

std::string Document(int code, const std::string &message, const std::string &details = "") {
  return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"(","details":[)" +
         details + "]}}";
}

void SetThreadError(const WCHAR *description) {
  ICreateErrorInfo *made = nullptr;
  CreateErrorInfo(&made);
  made->SetDescription(const_cast<WCHAR *>(description));
  IErrorInfo *info = nullptr;
  made->QueryInterface(KZ_IID(IErrorInfo), reinterpret_cast<void **>(&info));
  SetErrorInfo(0, info);
  info->Release();
  made->Release();
}

// The response of the text form, from outputs that already hold something: what they held is
// given back (the sanitizer build checks).
std::pair<std::u16string, std::string> TextResponse(HRESULT hr) {
  BSTR properties = SysAllocString(u"stale");
  SAFEARRAY *body = SafeArrayCreateVector(VT_UI1, 0, 4);
  EXPECT_EQ(HandleError(hr, &properties, &body), S_OK);
  std::string bytes(static_cast<const char *>(body->pvData), body->rgsabound[0].cElements);
  SafeArrayDestroy(body);
  return {Take(properties), bytes};
}

TEST(RESTError, StandardErrorsAndTheirDocuments) {
  const struct {
    const RESTError &constant;
    HRESULT hr;
    int code;
    const char *message;
  } table[] = {
      {RESTError::GenericError, static_cast<HRESULT>(0x80004005), 400, "Unable to complete operation."},
      {RESTError::InvalidArgs, static_cast<HRESULT>(0x80070057), 400, "Invalid or missing input parameters."},
      {RESTError::InvalidUrl, static_cast<HRESULT>(0x80040501), 400, "Invalid URL."},
      {RESTError::AccessDenied, static_cast<HRESULT>(0x80070005), 400, "Access denied."},
      {RESTError::CapabilityError, static_cast<HRESULT>(0x80040502), 400,
       "Requested operation is not supported by this service."},
      {RESTError::BadOutputFormat, static_cast<HRESULT>(0x80040503), 400, "Requested format is not supported."},
      {RESTError::ValidTokenAccessDenied, static_cast<HRESULT>(0x80040203), 403,
       "Token is valid but access is denied."},
      {RESTError::TokenRequired, static_cast<HRESULT>(0x8004021A), 499,
       "Token required but not passed in the request."},
      {RESTError::OperationRolledBack, static_cast<HRESULT>(0x80040504), 400, "Operation rolled back."},
      {RESTError::ServiceUnavailable, static_cast<HRESULT>(0x80040220), 503, "Service unavailable."},
      {RESTError::PrivilegesError, static_cast<HRESULT>(0x80040505), 400,
       "User does not have privileges to perform this operation."},
      // Codes without an error of their own, success codes among them.
      {RESTError::GenericError, S_OK, 400, "Unable to complete operation."},
      {RESTError::GenericError, S_FALSE, 400, "Unable to complete operation."},
      {RESTError::GenericError, E_POINTER, 400, "Unable to complete operation."},
      {RESTError::GenericError, static_cast<HRESULT>(0x80040506), 400, "Unable to complete operation."},
  };
  for (const auto &row : table) {
    SCOPED_TRACE(row.message);
    EXPECT_EQ(row.constant.code, row.code);
    EXPECT_EQ(std::u16string(row.constant.message), Wide(row.message));
    RESTError mapped;
    EXPECT_TRUE(ComErrorToRestError(row.hr, mapped));
    EXPECT_EQ(mapped.code, row.code);
    EXPECT_EQ(std::u16string(mapped.message), Wide(row.message));
    EXPECT_EQ(mapped.details.GetSize(), 0);

    const std::string document = Document(row.code, row.message);
    auto [properties, body] = TextResponse(row.hr);
    EXPECT_EQ(properties, uR"({"Content-Type":"text/plain", "Success":false})");
    EXPECT_EQ(body, document);

    IJSONObject *answer = Make<IJSONObject>(CLSID_JSONObject);  // released by the object form
    VARIANT object;
    VariantInit(&object);
    EXPECT_EQ(HandleError(row.code, Wide(row.message).c_str(), &answer, object), S_OK);
    ASSERT_EQ(object.vt, VT_UNKNOWN);
    EXPECT_EQ(TextOf(static_cast<IJSONObject *>(object.punkVal)), Wide(document));
    EXPECT_EQ(TextOf(answer), uR"({"Content-Type":"text/plain","Success":false})");
    answer->Release();
    VariantClear(&object);
  }
  EXPECT_EQ(TextResponse(REST_E_INVALID_URL).second, R"({"error":{"code":400,"message":"Invalid URL.","details":[]}})");
}

TEST(RESTError, ThreadDescriptionGoesToDetails) {
  SetThreadError(u"boom");
  EXPECT_EQ(TextResponse(E_FAIL).second, Document(400, "Unable to complete operation.", R"("boom")"));
  // The description was taken with the first error.
  EXPECT_EQ(TextResponse(E_FAIL).second, Document(400, "Unable to complete operation."));
  SetThreadError(u"");
  EXPECT_EQ(TextResponse(E_INVALIDARG).second, Document(400, "Invalid or missing input parameters."));
  SetThreadError(u"line\n\"quoted\"");
  RESTError error;
  error.details.Insert(u"earlier");
  ComErrorToRestError(E_ACCESSDENIED, error);
  ASSERT_EQ(error.details.GetSize(), 1);
  EXPECT_EQ(std::u16string(error.details[0]), u"line\n\"quoted\"");
  EXPECT_EQ(std::u16string(error.message), u"Access denied.");
}

TEST(RESTError, InfosAcrossCopiesAndClear) {
  IJSONArray *infos = Make<IJSONArray>(CLSID_JSONArray);
  infos->AddInteger(7);
  RESTError error(400, u"m");
  error.details.Insert(u"d");
  error.infos = infos;  // the error takes the reference
  IJSONObject *form = nullptr;
  error.ToJSONObject(&form);
  EXPECT_EQ(TextOf(form), uR"({"error":{"code":400,"message":"m","details":["d"],"infos":[7]}})");
  form->Release();

  RESTError copy(error);
  EXPECT_EQ(copy.infos, infos);
  copy = RESTError(499, u"other");  // no infos in the source: the target keeps its own
  EXPECT_EQ(copy.infos, infos);
  EXPECT_EQ(copy.code, 499);
  EXPECT_EQ(copy.details.GetSize(), 0);
  const RESTError &same = copy;
  copy = same;
  EXPECT_EQ(std::u16string(copy.message), u"other");

  copy.Clear();  // emptied, kept
  EXPECT_EQ(copy.infos, infos);
  EXPECT_EQ(TextOf(infos), u"[]");
  copy.ToJSONObject(&form);
  EXPECT_EQ(TextOf(form), uR"({"error":{"code":0,"message":"","details":[],"infos":[]}})");
  form->Release();
}

TEST(RESTError, NullOutputs) {
  SAFEARRAY *body = nullptr;
  BSTR properties = nullptr;
  VARIANT object;
  VariantInit(&object);
  EXPECT_EQ(HandleError(E_FAIL, nullptr, &body), E_POINTER);
  EXPECT_EQ(HandleError(E_FAIL, &properties, nullptr), E_POINTER);
  EXPECT_EQ(HandleError(E_FAIL, static_cast<IJSONObject **>(nullptr), object), E_POINTER);
  EXPECT_EQ(object.vt, VT_EMPTY);
  EXPECT_EQ(properties, nullptr);
}

TEST(RESTVersion, AddedAsTenPointSix) {
  IJSONObject *object = Make<IJSONObject>(CLSID_JSONObject);
  EXPECT_EQ(AddRESTCurrentVersion(object, u"currentVersion"), S_OK);
  EXPECT_EQ(TextOf(object), uR"({"currentVersion":10.6})");
  double value = 0;
  object->GetNumber(u"currentVersion", &value);
  EXPECT_EQ(value, 10.6);  // rounded to 4 digits, not the float's 10.600000381469727
  object->Release();

  IJSONWriter *writer = Make<IJSONWriter>(CLSID_JSONWriter);
  writer->Initialize();
  writer->StartObject(nullptr);
  EXPECT_EQ(WriteRESTCurrentVersion(writer, u"v"), S_OK);
  writer->EndObject();
  BSTR text = nullptr;
  writer->GetText(&text);
  EXPECT_EQ(Take(text), uR"({"v":10.6})");
  writer->Release();
  EXPECT_EQ(AddRESTCurrentVersion(nullptr, u"v"), E_INVALIDARG);
  EXPECT_EQ(WriteRESTCurrentVersion(nullptr, u"v"), E_INVALIDARG);
}

}  // namespace
