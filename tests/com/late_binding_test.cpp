#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "automation.h"
#include "late_binding_object.h"
#include "windows/automation/implements.h"

namespace {

using namespace automation;
using everything::Collection;
using everything::Everything;
using namespace std::string_literals;

/// An object of a script's: reading its default property, the number 4, and its end run code.
class ScriptObject final : public kvwmi::com::Implements<IDispatch> {
 public:
  ~ScriptObject() override {
    if (when_gone) when_gone();
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                                   UINT*) override {
    if (id != DISPID_VALUE || !result) return DISP_E_MEMBERNOTFOUND;
    if (when_read) when_read();
    V_VT(result) = VT_I4;
    V_I4(result) = 4;
    return S_OK;
  }

  std::function<void()> when_read;
  std::function<void()> when_gone;
};

/// An array as JScript has it: an object with a length and with members called as the indices are.
class ArrayObject final : public kvwmi::com::Implements<IDispatch> {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
    for (std::size_t i = 0; i < members.size(); ++i) {
      if (members[i].first != *names) continue;
      *ids = static_cast<DISPID>(i) + 1;
      return S_OK;
    }
    return failure_of_names;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                                   UINT*) override {
    const Variant& member = members.at(static_cast<std::size_t>(id) - 1).second;
    // A member that is an error is one that fails with it.
    return member.type() == VT_ERROR ? V_ERROR(&member.raw())
                                     : VariantCopy(result, const_cast<VARIANT*>(&member.raw()));
  }
  static Variant failing(HRESULT failure) {
    Variant result;
    V_VT(&result.raw()) = VT_ERROR;
    V_ERROR(&result.raw()) = failure;
    return result;
  }

  std::vector<std::pair<std::wstring, Variant>> members;
  HRESULT failure_of_names = DISP_E_UNKNOWNNAME;
};

class LateBinding : public testing::Test {
 protected:
  Everything& object() { return *object_.get(); }
  Answer call(const wchar_t* member, std::vector<VARIANT> arguments) {
    return automation::call(object(), member, std::move(arguments));
  }

  ComPtr<Everything> object_ = ComPtr<Everything>::own(new Everything);
};

// --- What a script passes: its variables by reference, whatever they hold ---

TEST_F(LateBinding, LongFromAVariableIsWrittenBack) {
  Variant both = Variant::of(LONG{4});
  const Answer answer = call(L"m_Long", {value(Variant::of(LONG{1})), variable(both)});
  EXPECT_EQ(answer.status, S_OK);
  EXPECT_EQ(answer.result.text(), "long 4");
  EXPECT_EQ(both.text(), "long 5");
}

TEST_F(LateBinding, LongFromOtherTypesOfVariables) {
  struct Case {
    Variant variable;
    const char* after;
  };
  for (Case& test : std::vector<Case>{{Variant::of("12"), "long 13"},
                                      {Variant(), "long 1"},
                                      {Variant::of(SHORT{7}), "long 8"},
                                      {Variant::of(2.5), "long 3"},  // halves to the even neighbour
                                      {Variant::of(true), "long 0"}}) {
    EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), variable(test.variable)}).status, S_OK);
    EXPECT_EQ(test.variable.text(), test.after);
  }
}

TEST_F(LateBinding, BooleanFromAVariable) {
  Variant both = Variant::of(SHORT{1});
  const Answer answer = call(L"m_Boolean", {value(Variant::of(true)), variable(both)});
  EXPECT_EQ(answer.status, S_OK);
  EXPECT_EQ(answer.result.text(), "boolean -1");
  EXPECT_EQ(both.text(), "boolean 0");
}

TEST_F(LateBinding, CurrencyFromAVariable) {
  Variant both = Variant::of(10.25);
  const Answer answer = call(L"m_Currency", {value(Variant::currency(11945)), variable(both)});
  EXPECT_EQ(answer.status, S_OK);
  EXPECT_EQ(answer.result.text(), "currency 102500");
  EXPECT_EQ(both.text(), "currency 114445");
}

TEST_F(LateBinding, StringFromAVariable) {
  Variant both = Variant::of("a");
  const Answer answer = call(L"m_String", {value(Variant::of("b")), variable(both)});
  EXPECT_EQ(answer.status, S_OK);
  EXPECT_EQ(answer.result.text(), "string a");
  EXPECT_EQ(both.text(), "string ab");
}

TEST_F(LateBinding, StringKeepsNulsAndUnpairedSurrogates) {
  const std::string odd = "x\0y\xED\xA0\x80z"s;
  Variant both = Variant::of(odd);
  EXPECT_EQ(call(L"m_String", {value(Variant::of(odd)), variable(both)}).status, S_OK);
  EXPECT_EQ(both.text(), "string " + odd + odd);
}

TEST_F(LateBinding, StringOfAMegabyte) {
  const std::string large(1'000'000, 'x');
  Variant both = Variant::of(large);
  EXPECT_EQ(call(L"m_String", {value(Variant::of(large)), variable(both)}).status, S_OK);
  EXPECT_EQ(both.text(), "string " + large + large);
}

TEST_F(LateBinding, StringArrayFromAScriptsArray) {
  Variant both = Variant::array({Variant::of("x"), Variant::of(LONG{2}), Variant()});
  const Answer answer = call(L"m_Strings", {variable(both)});
  EXPECT_EQ(answer.status, S_OK);
  EXPECT_EQ(answer.result.text(), "long 2");
  EXPECT_EQ(both.text(), "variants(0) [string x] [string 2] [string ] [string added]");
}

TEST_F(LateBinding, StringArrayFromAnEmptyVariableIsNotAllocated) {
  Variant both;
  const Answer answer = call(L"m_Strings", {variable(both)});
  EXPECT_EQ(answer.result.text(), "long -2");
  EXPECT_EQ(both.text(), "variants(0) [string added]");
}

TEST_F(LateBinding, StringArrayFromAnEmptyArrayIsAllocated) {
  Variant both = Variant::array({});
  EXPECT_EQ(call(L"m_Strings", {variable(both)}).result.text(), "long -1");
  EXPECT_EQ(both.text(), "variants(0) [string added]");
}

TEST_F(LateBinding, ATypedStringArrayStaysOne) {
  Variant both = Variant::strings({"a"}, 5);
  EXPECT_EQ(call(L"m_Strings", {variable(both)}).result.text(), "long 5");
  EXPECT_EQ(both.text(), "strings(5) [string a] [string added]");
}

/// The array of `Dim fixed(1)`: its memory is the script's.
TEST_F(LateBinding, AFixedArrayIsChangedInPlaceButNotResized) {
  Variant held = Variant::array({Variant::of("a"), Variant::of("b")});
  SAFEARRAY* array = V_ARRAY(&held.raw());
  array->fFeatures |= FADF_FIXEDSIZE;
  Variant both;
  V_VT(&both.raw()) = VT_BYREF | VT_ARRAY | VT_VARIANT;
  V_ARRAYREF(&both.raw()) = &array;
  object().grows = false;
  EXPECT_EQ(call(L"m_Strings", {variable(both)}).status, S_OK);
  EXPECT_EQ(held.text(), "variants(0) [string changed] [string b]");
  object().grows = true;
  const Answer answer = call(L"m_Strings", {variable(both)});
  EXPECT_EQ(answer.status, DISP_E_BADINDEX);
  EXPECT_EQ(answer.bad_argument, 0U);
  EXPECT_EQ(held.text(), "variants(0) [string changed] [string b]");
  array->fFeatures &= static_cast<USHORT>(~FADF_FIXEDSIZE);
}

TEST_F(LateBinding, AnArrayInUseByTheScriptIsAnErrorNotACrash) {
  Variant both = Variant::array({Variant::of("a")});
  SafeArrayLock(V_ARRAY(&both.raw()));
  EXPECT_EQ(call(L"m_Strings", {variable(both)}).status, DISP_E_ARRAYISLOCKED);
  SafeArrayUnlock(V_ARRAY(&both.raw()));
}

TEST_F(LateBinding, ObjectFromAVariable) {
  const auto collection = ComPtr<Collection>::own(new Collection);
  Variant both = Variant::of(collection.get());
  const Answer answer = call(L"m_Object", {value(Variant::of(collection.get())), variable(both)});
  EXPECT_EQ(answer.status, S_OK);
  EXPECT_EQ(answer.result.text(), "long 3");
  EXPECT_EQ(both.text(), "object");
  EXPECT_EQ(V_DISPATCH(&both.raw()), static_cast<IDispatch*>(collection.get()));
}

TEST_F(LateBinding, EmptyAndNothingAreNoObject) {
  for (Variant both : {Variant(), Variant::of(static_cast<IDispatch*>(nullptr))}) {
    const Answer answer = call(L"m_Object", {value(Variant()), variable(both)});
    EXPECT_EQ(answer.result.text(), "long 0");
    EXPECT_EQ(both.text(), "object");
  }
}

TEST_F(LateBinding, AnObjectThatIsTakenAwayLeavesNothing) {
  const auto collection = ComPtr<Collection>::own(new Collection);
  Variant both = Variant::of(collection.get());
  EXPECT_EQ(call(L"m_Clear", {variable(both)}).status, S_OK);
  EXPECT_EQ(both.text(), "nothing");
  collection->AddRef();
  EXPECT_EQ(collection->Release(), 1U);
}

TEST_F(LateBinding, ReferencesToReferencesAreFollowed) {
  Variant inner = Variant::of(LONG{4});
  Variant outer;
  outer.raw() = variable(inner);
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), variable(outer)}).status, S_OK);
  EXPECT_EQ(inner.text(), "long 5");
  outer.raw() = VARIANT{};
}

// --- What typed clients pass ---

TEST_F(LateBinding, ExactReferencesArePassedThrough) {
  LONG number = 4;
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), reference(number)}).status, S_OK);
  EXPECT_EQ(number, 5);

  VARIANT_BOOL flag = VARIANT_FALSE;
  EXPECT_EQ(call(L"m_Boolean", {value(Variant::of(false)), boolean_reference(flag)}).status, S_OK);
  EXPECT_EQ(flag, VARIANT_TRUE);

  CY amount{};
  amount.int64 = std::numeric_limits<std::int64_t>::max() - 1;
  EXPECT_EQ(call(L"m_Currency", {value(Variant::currency(1)), reference(amount)}).status, S_OK);
  EXPECT_EQ(amount.int64, std::numeric_limits<std::int64_t>::max());

  BSTR text = Bstr("a").release();
  EXPECT_EQ(call(L"m_String", {value(Variant::of("b")), reference(text)}).status, S_OK);
  EXPECT_EQ(kvwmi::windows::from_bstr(text), "ab");
  SysFreeString(text);

  SAFEARRAY* strings = SafeArrayCreateVector(VT_BSTR, 0, 0);
  EXPECT_EQ(call(L"m_Strings", {reference(strings, VT_BSTR)}).result.text(), "long -1");
  EXPECT_EQ(strings->rgsabound[0].cElements, 1U);
  SafeArrayDestroy(strings);

  IDispatch* collection = nullptr;
  EXPECT_EQ(call(L"m_Object", {value(Variant()), reference(collection)}).result.text(), "long 0");
  ASSERT_NE(collection, nullptr);
  collection->Release();
}

TEST_F(LateBinding, OtherReferencesAreConvertedAndConvertedBack) {
  SHORT number = 4;
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), reference(number)}).status, S_OK);
  EXPECT_EQ(number, 5);
  const Answer answer = call(L"m_Long", {value(Variant::of(LONG{100'000})), reference(number)});
  EXPECT_EQ(answer.status, DISP_E_OVERFLOW);
  EXPECT_EQ(answer.bad_argument, 0U);
  EXPECT_EQ(number, 5);

  BSTR text = Bstr("4").release();
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), reference(text)}).status, S_OK);
  EXPECT_EQ(kvwmi::windows::from_bstr(text), "5");
  SysFreeString(text);

  SAFEARRAY* variants = SafeArrayCreateVector(VT_VARIANT, 0, 0);
  EXPECT_EQ(call(L"m_Strings", {reference(variants, VT_VARIANT)}).status, S_OK);
  EXPECT_EQ(variants->rgsabound[0].cElements, 1U);
  SafeArrayDestroy(variants);
}

TEST_F(LateBinding, ADecimalIsConvertedAndConvertedBack) {
  DECIMAL amount{};
  ASSERT_EQ(VarDecFromI4(4, &amount), S_OK);
  VARIANT argument{};
  V_VT(&argument) = VT_BYREF | VT_DECIMAL;
  V_DECIMALREF(&argument) = &amount;
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), argument}).status, S_OK);
  LONG number = 0;
  EXPECT_EQ(VarI4FromDec(&amount, &number), S_OK);
  EXPECT_EQ(number, 5);
  EXPECT_EQ(amount.wReserved, 0);
}

/// Otherwise the call would have acted before it is found that its output has no place.
TEST_F(LateBinding, AReferenceThatCannotTakeTheOutputIsRefusedBeforeTheCall) {
  bool was_read = false;
  const auto script = ComPtr<ScriptObject>::own(new ScriptObject);
  script->when_read = [&] { was_read = true; };
  IDispatch* variable_of_objects = script.get();
  for (const wchar_t* member : {L"m_Long", L"m_String"}) {
    const Answer answer = call(member, {value(Variant::of("1")), reference(variable_of_objects)});
    EXPECT_EQ(answer.status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(answer.bad_argument, 0U);
  }
  EXPECT_EQ(call(L"m_Strings", {reference(variable_of_objects)}).status, DISP_E_TYPEMISMATCH);
  EXPECT_FALSE(was_read);
  EXPECT_EQ(variable_of_objects, script.get());
}

/// A `Long()` of a typed client can hold no strings, whether it has been given a size yet or not.
TEST_F(LateBinding, ATypedArrayOfSomethingElseIsRefusedBeforeTheCall) {
  struct Case {
    VARTYPE declared;
    SAFEARRAY* array;
  };
  for (Case test : {Case{VT_I4, nullptr}, Case{VT_I4, SafeArrayCreateVector(VT_I4, 0, 1)},
                    Case{VT_VARIANT, SafeArrayCreateVector(VT_BSTR, 0, 1)}}) {
    SAFEARRAY* const before = test.array;
    const Answer answer = call(L"m_Strings", {reference(test.array, test.declared)});
    EXPECT_EQ(answer.status, DISP_E_TYPEMISMATCH) << test.declared;
    EXPECT_EQ(answer.bad_argument, 0U) << test.declared;
    EXPECT_EQ(answer.result.text(), "empty") << test.declared;
    EXPECT_EQ(test.array, before) << test.declared;
    SafeArrayDestroy(test.array);
  }
}

/// The client's code may run during the call.
TEST_F(LateBinding, AnArrayThatBecameOneOfAnotherTypeTakesNothingBack) {
  SAFEARRAY* array = nullptr;
  object().while_changing_strings = [&] { array = SafeArrayCreateVector(VT_I4, 0, 1); };
  const Answer answer = call(L"m_Strings", {reference(array, VT_VARIANT)});
  EXPECT_EQ(answer.status, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(answer.bad_argument, 0U);
  VARTYPE type = VT_EMPTY;
  EXPECT_EQ(SafeArrayGetVartype(array, &type), S_OK);
  EXPECT_EQ(type, VT_I4);
  SafeArrayDestroy(array);
}

TEST_F(LateBinding, ConstantsForByReferenceParametersAreAccepted) {
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), value(Variant::of(LONG{4}))}).result.text(),
            "long 4");
  EXPECT_EQ(call(L"m_String", {value(Variant::of("b")), value(Variant::of("a"))}).result.text(), "string a");
  EXPECT_EQ(call(L"m_Strings", {value(Variant::strings({"a", "b"}))}).result.text(), "long 1");
}

TEST_F(LateBinding, VariablesForByValueParametersStayAsTheyAre) {
  Variant in = Variant::of("1");
  Variant both = Variant::of(LONG{4});
  EXPECT_EQ(call(L"m_Long", {variable(in), variable(both)}).status, S_OK);
  EXPECT_EQ(in.text(), "string 1");
  EXPECT_EQ(both.text(), "long 5");
}

// --- Left-out arguments ---

TEST_F(LateBinding, LeftOutArgumentsGetTheirDefaults) {
  EXPECT_EQ(call(L"m_Optional", {value(Variant::of(LONG{1}))}).result.text(), "string 1 -7 -1 left out 5");
  EXPECT_EQ(call(L"m_Optional", {value(Variant::of(LONG{1})), value(Variant::missing()),
                                 value(Variant::of(false)), value(Variant::missing())})
                .result.text(),
            "string 1 -7 0 left out 5");
}

TEST_F(LateBinding, ADefaultOfAByReferenceParameterIsNoPlaceToWriteTo) {
  // Twice: what the first call wrote there must not be the second one's default.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(call(L"m_Optional", {value(Variant::of(LONG{1}))}).result.text(), "string 1 -7 -1 left out 5");
  }
}

TEST_F(LateBinding, AMissingVariableIsLeftOutToo) {
  Variant missing = Variant::missing();
  EXPECT_EQ(call(L"m_Optional", {value(Variant::of(LONG{1})), variable(missing)}).result.text(),
            "string 1 -7 -1 left out 5");
}

TEST_F(LateBinding, NamedArgumentsGoToTheirParameters) {
  LPOLESTR names[] = {const_cast<LPOLESTR>(L"M_OPTIONAL"), const_cast<LPOLESTR>(L"F_text"),
                      const_cast<LPOLESTR>(L"f_Required")};
  DISPID ids[3]{};
  ASSERT_EQ(object().GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), S_OK);
  EXPECT_EQ(ids[1], 3);
  EXPECT_EQ(ids[2], 0);
  // The last argument written is the first one named.
  const Answer answer = invoke(object(), ids[0], DISPATCH_METHOD,
                               {value(Variant::of(LONG{8})), value(Variant::of("named"))}, {ids[1], ids[2]});
  EXPECT_EQ(answer.result.text(), "string 8 -7 -1 named 5");
}

TEST_F(LateBinding, ANamedArgumentTwiceOrForNoParameterIsRefused) {
  const DISPID id = id_of(object(), L"m_Optional");
  Answer answer = invoke(object(), id, DISPATCH_METHOD,
                         {value(Variant::of(LONG{8})), value(Variant::of(LONG{9}))}, {0, 0});
  EXPECT_EQ(answer.status, DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(answer.bad_argument, 1U);
  answer = invoke(object(), id, DISPATCH_METHOD, {value(Variant::of(LONG{8}))}, {5});
  EXPECT_EQ(answer.status, DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(answer.bad_argument, 0U);
}

// --- Wrong arguments ---

TEST_F(LateBinding, WrongCountsAreRefused) {
  const VARIANT one = value(Variant::of(LONG{1}));
  EXPECT_EQ(call(L"m_Long", {one}).status, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(call(L"m_Long", {}).status, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(call(L"m_Long", {one, one, one}).status, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(call(L"m_Optional", {one, one, one, one, one, one}).status, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(call(L"m_Optional", {}).status, DISP_E_BADPARAMCOUNT);
  const Answer answer = call(L"m_Optional", {value(Variant::missing()), one});
  EXPECT_EQ(answer.status, DISP_E_PARAMNOTOPTIONAL);
  EXPECT_EQ(answer.bad_argument, 1U);
}

TEST_F(LateBinding, WrongTypesBlameTheirArgument) {
  const auto collection = ComPtr<Collection>::own(new Collection);
  struct Case {
    const wchar_t* member;
    std::vector<Variant> arguments;
    UINT blamed;  // counted from the last
    HRESULT status;
  };
  const Variant one = Variant::of(LONG{1});
  const Variant null = Variant::null();
  const Variant object = Variant::of(collection.get());
  const Variant strings = Variant::strings({"a"});
  for (const Case& test : std::vector<Case>{
           {L"m_Long", {null, one}, 1, DISP_E_TYPEMISMATCH},
           {L"m_Long", {one, null}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Long", {Variant::of("many"), one}, 1, DISP_E_TYPEMISMATCH},
           {L"m_Long", {one, strings}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Long", {Variant::of(3e9), one}, 1, DISP_E_OVERFLOW},
           {L"m_Boolean", {null, one}, 1, DISP_E_TYPEMISMATCH},
           {L"m_Boolean", {one, strings}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Currency", {null, one}, 1, DISP_E_TYPEMISMATCH},
           {L"m_Currency", {one, Variant::of(1e15)}, 0, DISP_E_OVERFLOW},
           {L"m_String", {null, one}, 1, DISP_E_TYPEMISMATCH},
           {L"m_String", {one, strings}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Strings", {null}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Strings", {one}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Strings", {object}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Strings", {Variant::array({null})}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Object", {null, object}, 1, DISP_E_TYPEMISMATCH},
           {L"m_Object", {object, one}, 0, DISP_E_TYPEMISMATCH},
           {L"m_Object",
            {object, Variant::of(static_cast<IDispatch*>(object_.get()))},
            0,
            DISP_E_TYPEMISMATCH},
       }) {
    for (const bool by_reference : {false, true}) {
      std::vector<Variant> variables = test.arguments;
      std::vector<VARIANT> arguments;
      for (Variant& argument : variables) {
        arguments.push_back(by_reference ? variable(argument) : value(argument));
      }
      const Answer answer = call(test.member, arguments);
      EXPECT_EQ(answer.status, test.status) << Bstr(test.member).get() << " " << by_reference;
      EXPECT_EQ(answer.bad_argument, test.blamed);
    }
  }
}

TEST_F(LateBinding, NothingForAValueIsATypeMismatch) {
  Variant nothing = Variant::of(static_cast<IDispatch*>(nullptr));
  for (const wchar_t* member : {L"m_Long", L"m_Boolean", L"m_Currency", L"m_String"}) {
    const Answer answer = call(member, {variable(nothing), variable(nothing)});
    EXPECT_EQ(answer.status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(answer.bad_argument, 1U);
  }
}

TEST_F(LateBinding, ArraysOfTheWrongRankAreRefused) {
  for (const int element : {VT_VARIANT, VT_BSTR}) {
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {2, 0}};
    Variant square;
    V_VT(&square.raw()) = static_cast<VARTYPE>(VT_ARRAY | element);
    V_ARRAY(&square.raw()) = SafeArrayCreate(static_cast<VARTYPE>(element), 2, bounds);
    for (const VARIANT& argument : {variable(square), value(square),
                                    reference(V_ARRAY(&square.raw()), static_cast<VARTYPE>(element))}) {
      const Answer answer = call(L"m_Strings", {argument});
      EXPECT_EQ(answer.status, DISP_E_TYPEMISMATCH) << element;
      EXPECT_EQ(answer.bad_argument, 0U) << element;
    }
    EXPECT_EQ(
        put(object(), L"p_Strings", reference(V_ARRAY(&square.raw()), static_cast<VARTYPE>(element))).status,
        DISP_E_TYPEMISMATCH);
    EXPECT_EQ(call(L"m_String", {variable(square), variable(square)}).status, DISP_E_TYPEMISMATCH);
  }
}

TEST_F(LateBinding, ReferencesToNowhereAreRefused) {
  VARIANT nowhere{};
  for (const int type : {int{VT_VARIANT}, int{VT_I4}, int{VT_BSTR}, int{VT_DISPATCH}, VT_ARRAY | VT_BSTR}) {
    V_VT(&nowhere) = static_cast<VARTYPE>(VT_BYREF | type);
    EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), nowhere}).status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(call(L"m_Strings", {nowhere}).status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(call(L"m_Object", {value(Variant()), nowhere}).status, DISP_E_TYPEMISMATCH);
  }
}

TEST_F(LateBinding, UnknownMembersAndMisusedKindsAreRefused) {
  EXPECT_EQ(id_of(object(), L"m_Nothing"), DISPID_UNKNOWN);
  EXPECT_EQ(invoke(object(), 99, DISPATCH_METHOD, {}).status, DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(invoke(object(), id_of(object(), L"m_Long"), DISPATCH_PROPERTYPUT, {}).status,
            DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(invoke(object(), id_of(object(), L"p_Text"), DISPATCH_PROPERTYPUTREF, {}).status,
            DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(object().Invoke(1, IID_IDispatch, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
            DISP_E_UNKNOWNINTERFACE);
  EXPECT_EQ(object().Invoke(1, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
            E_INVALIDARG);
}

// --- Failures ---

TEST_F(LateBinding, AFailureHandsOverItsTextsAndWhatTheOutputsHold) {
  Variant number = Variant::of(SHORT{1});
  Variant text = Variant::of("before");
  const Answer answer = call(L"m_Fail", {variable(number), variable(text)});
  EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
  EXPECT_EQ(answer.code, static_cast<HRESULT>(0x800A0006));
  EXPECT_EQ(answer.source, "KVWMI\r\n\tKVWMI : Everything.Inner\r\n\tKVWMI : Everything.m_Fail");
  EXPECT_EQ(answer.description, "Overflow");
  EXPECT_EQ(answer.result.text(), "empty");
  EXPECT_EQ(number.text(), "long 77");
  EXPECT_EQ(text.text(), "string left behind");
}

TEST_F(LateBinding, AFailureKeepsItsErrorWhenAnOutputCannotBeWrittenBack) {
  SHORT number = 1;
  BSTR text = nullptr;
  const Answer answer = call(L"m_Fail", {reference(number), reference(text)});
  EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
  EXPECT_EQ(number, 77);
  SysFreeString(text);
}

TEST_F(LateBinding, AClientWithoutPlacesForAnswersIsServed) {
  Variant number = Variant::of(LONG{1});
  VARIANT arguments[2] = {variable(number), value(Variant::of(LONG{1}))};
  DISPPARAMS all{arguments, nullptr, 2, 0};
  EXPECT_EQ(object().Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &all, nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(number.text(), "long 2");
  Variant text;
  arguments[0] = variable(text);
  arguments[1] = variable(number);
  EXPECT_EQ(object().Invoke(9, IID_NULL, 0, DISPATCH_METHOD, &all, nullptr, nullptr, nullptr),
            DISP_E_EXCEPTION);
  EXPECT_EQ(number.text(), "long 77");
  arguments[0] = value(Variant::null());
  EXPECT_EQ(object().Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &all, nullptr, nullptr, nullptr),
            DISP_E_TYPEMISMATCH);
}

// --- A script's code that runs in the middle of a call ---

/// An array that a script holds in a variable of its own, which the script's code may erase at any time.
class ScriptArray {
 public:
  explicit ScriptArray(IDispatch* element) {
    VARIANT first{};
    V_VT(&first) = VT_DISPATCH;
    V_DISPATCH(&first) = element;
    LONG index = 0;
    SafeArrayPutElement(array_, &index, &first);
  }
  ScriptArray(const ScriptArray&) = delete;
  ScriptArray& operator=(const ScriptArray&) = delete;
  ~ScriptArray() { erase(); }

  HRESULT erase() {
    const HRESULT erased = array_ ? SafeArrayDestroy(array_) : S_OK;
    if (SUCCEEDED(erased)) array_ = nullptr;
    return erased;
  }
  VARIANT argument() { return reference(array_, VT_VARIANT); }
  [[nodiscard]] ULONG size() const { return array_->rgsabound[0].cElements; }
  [[nodiscard]] std::string text() {
    Variant copy;
    V_VT(&copy.raw()) = VT_ARRAY | VT_VARIANT;
    SafeArrayCopy(array_, &V_ARRAY(&copy.raw()));
    return copy.text();
  }

 private:
  SAFEARRAY* array_ = SafeArrayCreateVector(VT_VARIANT, 0, 1);
};

TEST_F(LateBinding, AScriptsArrayObjectIsReadByItsIndicesAndAHoleIsAnEmptyString) {
  const auto array = ComPtr<ArrayObject>::own(new ArrayObject);
  array->members = {
      {L"length", Variant::of(LONG{3})}, {L"0", Variant::of("a")}, {L"2", Variant::of(LONG{7})}};
  Variant both = Variant::of(array.get());
  EXPECT_EQ(call(L"m_Strings", {variable(both)}).result.text(), "long 2");
  EXPECT_EQ(both.text(), "variants(0) [string a] [string ] [string 7] [string added]");
}

TEST_F(LateBinding, WhatFailsInAScriptsArrayObjectIsAWrongArgument) {
  for (const HRESULT failure : {DISP_E_EXCEPTION, DISP_E_MEMBERNOTFOUND, E_FAIL, E_OUTOFMEMORY}) {
    const HRESULT expected = failure == E_OUTOFMEMORY ? E_OUTOFMEMORY : DISP_E_TYPEMISMATCH;
    for (const wchar_t* member : {L"length", L"0"}) {
      const auto array = ComPtr<ArrayObject>::own(new ArrayObject);
      array->members = {{member, ArrayObject::failing(failure)}, {L"length", Variant::of(LONG{1})}};
      const Answer answer = call(L"m_Strings", {value(Variant::of(array.get()))});
      EXPECT_EQ(answer.status, expected) << failure;
      EXPECT_EQ(answer.bad_argument, 0U) << failure;
    }
    const auto array = ComPtr<ArrayObject>::own(new ArrayObject);
    array->failure_of_names = failure;
    EXPECT_EQ(call(L"m_Strings", {value(Variant::of(array.get()))}).status, expected) << failure;
  }
  const auto without_length = ComPtr<ArrayObject>::own(new ArrayObject);
  EXPECT_EQ(call(L"m_Strings", {value(Variant::of(without_length.get()))}).status, DISP_E_TYPEMISMATCH);
}

TEST_F(LateBinding, AnArrayCannotBeErasedWhileItsElementsAreRead) {
  auto script = ComPtr<ScriptObject>::own(new ScriptObject);
  ScriptArray array(script.get());
  HRESULT erased = S_OK;
  script->when_read = [&] { erased = array.erase(); };
  EXPECT_EQ(call(L"m_Strings", {array.argument()}).status, S_OK);
  EXPECT_EQ(erased, DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(array.text(), "variants(0) [string 4] [string added]");
  EXPECT_EQ(array.erase(), S_OK);  // it is the script's again
}

TEST_F(LateBinding, TheNewElementsAreInTheirPlacesWhenTheOldOnesGo) {
  auto script = ComPtr<ScriptObject>::own(new ScriptObject);
  ScriptArray array(script.get());
  std::string seen;
  HRESULT erased = E_UNEXPECTED;
  script->when_gone = [&] {
    seen = array.text();
    erased = array.erase();
  };
  script.reset();
  object().grows = false;
  EXPECT_EQ(call(L"m_Strings", {array.argument()}).status, S_OK);
  EXPECT_EQ(seen, "variants(0) [string changed]");
  EXPECT_EQ(erased, S_OK);  // it is the script's again
}

TEST_F(LateBinding, TheNewArrayIsInItsPlaceWhenTheOldOneGoes) {
  auto script = ComPtr<ScriptObject>::own(new ScriptObject);
  ScriptArray array(script.get());
  ULONG size = 0;
  script->when_gone = [&] { size = array.size(); };
  script.reset();
  EXPECT_EQ(call(L"m_Strings", {array.argument()}).status, S_OK);
  EXPECT_EQ(size, 2U);
}

TEST_F(LateBinding, TheNewValueIsInItsPlaceWhenTheOldOneGoes) {
  auto script = ComPtr<ScriptObject>::own(new ScriptObject);
  Variant both = Variant::of(script.get());
  std::string seen;
  script->when_gone = [&] { seen = both.text(); };
  script.reset();
  EXPECT_EQ(call(L"m_Long", {value(Variant::of(LONG{1})), variable(both)}).status, S_OK);
  EXPECT_EQ(seen, "long 5");
}

TEST_F(LateBinding, AnErrorKeepsItsTextsWhenWritingBackRunsCode) {
  auto script = ComPtr<ScriptObject>::own(new ScriptObject);
  Variant number = Variant::of(script.get());
  Variant text;
  bool gone = false;
  script->when_gone = [&] {
    gone = true;
    SetErrorInfo(0, nullptr);
  };
  script.reset();
  const Answer answer = call(L"m_Fail", {variable(number), variable(text)});
  EXPECT_TRUE(gone);
  EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
  EXPECT_EQ(answer.code, static_cast<HRESULT>(0x800A0006));
  EXPECT_EQ(answer.description, "Overflow");
}

// --- Properties ---

TEST_F(LateBinding, PutTakesVariablesAndLeavesThemAlone) {
  Variant number = Variant::of(LONG{5});
  EXPECT_EQ(put(object(), L"p_Text", variable(number)).status, S_OK);
  EXPECT_EQ(number.text(), "long 5");
  EXPECT_EQ(get(object(), L"p_Text").result.text(), "string 5");
}

TEST_F(LateBinding, AnArrayPropertyKeepsItsTypeAndAnswersItsElements) {
  Variant values = Variant::array({Variant::of("p"), Variant::of("q"), Variant::of(LONG{3})});
  EXPECT_EQ(put(object(), L"p_Strings", variable(values)).status, S_OK);
  EXPECT_EQ(values.text(), "variants(0) [string p] [string q] [long 3]");
  EXPECT_EQ(get(object(), L"p_Strings").result.text(), "strings(0) [string p] [string q] [string 3]");
  Variant index = Variant::of(SHORT{1});
  EXPECT_EQ(get(object(), L"p_Strings", {variable(index)}).result.text(), "string q");
  EXPECT_EQ(get(object(), L"p_Strings", {value(Variant::of("2"))}).result.text(), "string 3");
}

TEST_F(LateBinding, AnIndexBeyondTheArrayIsSubscriptOutOfRange) {
  for (const bool allocated : {false, true}) {
    for (const LONG index : {LONG{-1}, LONG{1}}) {
      if (allocated) put(object(), L"p_Strings", value(Variant::strings({"only"})));
      const Answer answer = get(object(), L"p_Strings", {value(Variant::of(index))});
      EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
      EXPECT_EQ(answer.code, static_cast<HRESULT>(0x800A0009));
      EXPECT_EQ(answer.description, "Subscript out of range");
      EXPECT_EQ(answer.source, "KVWMI");
    }
  }
  const Answer answer = get(object(), L"p_Strings", {value(Variant::of("first"))});
  EXPECT_EQ(answer.status, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(answer.bad_argument, 0U);
}

TEST_F(LateBinding, AnArrayPropertyThatIsNotAllocatedIsReadAsSuch) {
  EXPECT_EQ(get(object(), L"p_Strings").result.text(), "strings none");
  Variant empty;
  put(object(), L"p_Strings", value(Variant::strings({"a"})));
  EXPECT_EQ(put(object(), L"p_Strings", variable(empty)).status, S_OK);
  EXPECT_EQ(get(object(), L"p_Strings").result.text(), "strings none");
}

TEST_F(LateBinding, OnlyAnArrayPropertyTakesAnIndex) {
  EXPECT_EQ(get(object(), L"p_Text", {value(Variant::of(LONG{0}))}).status, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(get(object(), L"p_Strings", {value(Variant::of(LONG{0})), value(Variant::of(LONG{0}))}).status,
            DISP_E_BADPARAMCOUNT);
}

// --- Enumeration ---

TEST_F(LateBinding, AnEnumeratorArrivesAsAnObjectToIterateOver) {
  const Answer answer = call(L"NewEnum", {});
  ASSERT_EQ(answer.result.text(), "object");
  IDispatch& enumerator = *V_DISPATCH(&answer.result.raw());
  for (int round = 0; round < 2; ++round) {
    const Answer iteration = invoke(enumerator, DISPID_NEWENUM, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {});
    ASSERT_EQ(iteration.result.type(), VT_UNKNOWN);
    ComPtr<IEnumVARIANT> items;
    ASSERT_EQ(V_UNKNOWN(&iteration.result.raw())->QueryInterface(IID_PPV_ARGS(items.put())), S_OK);
    Variant item;
    int count = 0;
    while (items->Next(1, item.receive(), nullptr) == S_OK) {
      EXPECT_EQ(item.text(), "object");
      ++count;
    }
    EXPECT_EQ(count, 3);
  }
}

TEST(Enumerator, NextSkipResetAndClone) {
  std::vector<ComPtr<IDispatch>> objects(3);
  for (auto& object : objects) object = ComPtr<IDispatch>::own(new Collection);
  const ComPtr<IEnumVARIANT> items = kvwmi::com::make_enumerator(objects);
  Variant values[3];
  ULONG fetched = 99;
  EXPECT_EQ(items->Next(2, &values[0].raw(), nullptr), E_POINTER);
  EXPECT_EQ(items->Next(1, nullptr, &fetched), E_POINTER);
  EXPECT_EQ(fetched, 0U);
  EXPECT_EQ(items->Next(1, &values[0].raw(), &fetched), S_OK);
  EXPECT_EQ(fetched, 1U);
  EXPECT_EQ(V_DISPATCH(&values[0].raw()), objects[0].get());
  ComPtr<IEnumVARIANT> copy;
  EXPECT_EQ(items->Clone(copy.put()), S_OK);
  EXPECT_EQ(items->Skip(1), S_OK);
  VARIANT rest[3]{};
  EXPECT_EQ(items->Next(3, rest, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 1U);
  EXPECT_EQ(V_DISPATCH(&rest[0]), objects[2].get());
  VariantClear(&rest[0]);
  EXPECT_EQ(items->Next(0, rest, &fetched), S_OK);
  EXPECT_EQ(items->Skip(1), S_FALSE);
  EXPECT_EQ(items->Reset(), S_OK);
  EXPECT_EQ(items->Skip(4), S_FALSE);
  EXPECT_EQ(copy->Next(1, values[1].receive(), &fetched), S_OK);
  EXPECT_EQ(V_DISPATCH(&values[1].raw()), objects[1].get());
  EXPECT_EQ(items->Clone(nullptr), E_POINTER);
}

TEST(Enumerator, OfNothingYieldsNothing) {
  const ComPtr<IEnumVARIANT> items = kvwmi::com::make_enumerator({});
  Variant value;
  EXPECT_EQ(items->Next(1, &value.raw(), nullptr), S_FALSE);
  EXPECT_EQ(items->Skip(0), S_OK);
}

TEST(Enumerator, OutlivesWhoMadeItAndHoldsItsItems) {
  const auto object = ComPtr<IDispatch>::own(new Collection);
  ComPtr<IEnumVARIANT> items = kvwmi::com::make_enumerator({object});
  object->AddRef();
  EXPECT_EQ(object->Release(), 2U);
  items.reset();
  object->AddRef();
  EXPECT_EQ(object->Release(), 1U);
}

// --- The object itself ---

TEST_F(LateBinding, AnswersForItsInterfacesOnly) {
  ComPtr<IUnknown> identity;
  ASSERT_EQ(object().QueryInterface(IID_PPV_ARGS(identity.put())), S_OK);
  ComPtr<IDispatch> dispatch;
  ComPtr<ISupportErrorInfo> errors;
  ComPtr<IProvideClassInfo> info;
  ASSERT_EQ(identity->QueryInterface(IID_PPV_ARGS(dispatch.put())), S_OK);
  ASSERT_EQ(dispatch->QueryInterface(IID_PPV_ARGS(errors.put())), S_OK);
  ASSERT_EQ(errors->QueryInterface(IID_PPV_ARGS(info.put())), S_OK);
  ComPtr<IUnknown> same;
  ASSERT_EQ(info->QueryInterface(IID_PPV_ARGS(same.put())), S_OK);
  EXPECT_EQ(same.get(), identity.get());
  ComPtr<IEnumVARIANT> none;
  EXPECT_EQ(info->QueryInterface(IID_PPV_ARGS(none.put())), E_NOINTERFACE);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_EQ(object().QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(errors->InterfaceSupportsErrorInfo(__uuidof(IEverything)), S_OK);
  EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
}

}  // namespace
