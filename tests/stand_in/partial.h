#pragma once

#include "stand_in/automation.h"

namespace kvwmi::stand_in {

/// What an SWbemServices has beyond that which this system uses.
class PartialServices : public Automation<ISWbemServicesEx, ISWbemServices> {
 public:
  STDMETHODIMP GetAsync(IDispatch*, BSTR, LONG, IDispatch*, IDispatch*) override { return not_supported(); }
  STDMETHODIMP Delete(BSTR, LONG, IDispatch*) override { return not_supported(); }
  STDMETHODIMP DeleteAsync(IDispatch*, BSTR, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP InstancesOfAsync(IDispatch*, BSTR, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP SubclassesOf(BSTR, LONG, IDispatch*, ISWbemObjectSet**) override { return not_supported(); }
  STDMETHODIMP SubclassesOfAsync(IDispatch*, BSTR, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP ExecQueryAsync(IDispatch*, BSTR, BSTR, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP AssociatorsOf(BSTR, BSTR, BSTR, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, BSTR, LONG,
                             IDispatch*, ISWbemObjectSet**) override {
    return not_supported();
  }
  STDMETHODIMP AssociatorsOfAsync(IDispatch*, BSTR, BSTR, BSTR, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR,
                                  BSTR, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP ReferencesTo(BSTR, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, LONG, IDispatch*,
                            ISWbemObjectSet**) override {
    return not_supported();
  }
  STDMETHODIMP ReferencesToAsync(IDispatch*, BSTR, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, LONG,
                                 IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP ExecNotificationQuery(BSTR, BSTR, LONG, IDispatch*, ISWbemEventSource**) override {
    return not_supported();
  }
  STDMETHODIMP ExecMethodAsync(IDispatch*, BSTR, BSTR, IDispatch*, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP Put(ISWbemObjectEx*, LONG, IDispatch*, ISWbemObjectPath**) override { return not_supported(); }
  STDMETHODIMP PutAsync(ISWbemSink*, ISWbemObjectEx*, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
};

/// What an SWbemObject has beyond that which this system uses.
class PartialObject : public Automation<ISWbemObjectEx, ISWbemObject> {
 public:
  STDMETHODIMP Put_(LONG, IDispatch*, ISWbemObjectPath**) override { return not_supported(); }
  STDMETHODIMP PutAsync_(IDispatch*, LONG, IDispatch*, IDispatch*) override { return not_supported(); }
  STDMETHODIMP Delete_(LONG, IDispatch*) override { return not_supported(); }
  STDMETHODIMP DeleteAsync_(IDispatch*, LONG, IDispatch*, IDispatch*) override { return not_supported(); }
  STDMETHODIMP Instances_(LONG, IDispatch*, ISWbemObjectSet**) override { return not_supported(); }
  STDMETHODIMP InstancesAsync_(IDispatch*, LONG, IDispatch*, IDispatch*) override { return not_supported(); }
  STDMETHODIMP Subclasses_(LONG, IDispatch*, ISWbemObjectSet**) override { return not_supported(); }
  STDMETHODIMP SubclassesAsync_(IDispatch*, LONG, IDispatch*, IDispatch*) override { return not_supported(); }
  STDMETHODIMP Associators_(BSTR, BSTR, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, BSTR, LONG, IDispatch*,
                            ISWbemObjectSet**) override {
    return not_supported();
  }
  STDMETHODIMP AssociatorsAsync_(IDispatch*, BSTR, BSTR, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, BSTR,
                                 LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP References_(BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, LONG, IDispatch*,
                           ISWbemObjectSet**) override {
    return not_supported();
  }
  STDMETHODIMP ReferencesAsync_(IDispatch*, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL, BSTR, LONG, IDispatch*,
                                IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP ExecMethodAsync_(IDispatch*, BSTR, IDispatch*, LONG, IDispatch*, IDispatch*) override {
    return not_supported();
  }
  STDMETHODIMP Clone_(ISWbemObject**) override { return not_supported(); }
  STDMETHODIMP GetObjectText_(LONG, BSTR*) override { return not_supported(); }
  STDMETHODIMP SpawnDerivedClass_(LONG, ISWbemObject**) override { return not_supported(); }
  STDMETHODIMP CompareTo_(IDispatch*, LONG, VARIANT_BOOL*) override { return not_supported(); }
  STDMETHODIMP get_Derivation_(VARIANT*) override { return not_supported(); }
  STDMETHODIMP Refresh_(LONG, IDispatch*) override { return not_supported(); }
  STDMETHODIMP GetText_(WbemObjectTextFormatEnum, LONG, IDispatch*, BSTR*) override {
    return not_supported();
  }
  STDMETHODIMP SetFromText_(BSTR, WbemObjectTextFormatEnum, LONG, IDispatch*) override {
    return not_supported();
  }
};

/// What an SWbemObjectPath has beyond reading.
class PartialObjectPath : public Automation<ISWbemObjectPath> {
 public:
  STDMETHODIMP put_Path(BSTR) override { return not_supported(); }
  STDMETHODIMP put_RelPath(BSTR) override { return not_supported(); }
  STDMETHODIMP put_Server(BSTR) override { return not_supported(); }
  STDMETHODIMP put_Namespace(BSTR) override { return not_supported(); }
  STDMETHODIMP get_ParentNamespace(BSTR*) override { return not_supported(); }
  STDMETHODIMP get_DisplayName(BSTR*) override { return not_supported(); }
  STDMETHODIMP put_DisplayName(BSTR) override { return not_supported(); }
  STDMETHODIMP put_Class(BSTR) override { return not_supported(); }
  STDMETHODIMP SetAsClass() override { return not_supported(); }
  STDMETHODIMP SetAsSingleton() override { return not_supported(); }
  STDMETHODIMP get_Keys(ISWbemNamedValueSet**) override { return not_supported(); }
  STDMETHODIMP get_Security_(ISWbemSecurity**) override { return not_supported(); }
  STDMETHODIMP get_Locale(BSTR*) override { return not_supported(); }
  STDMETHODIMP put_Locale(BSTR) override { return not_supported(); }
  STDMETHODIMP get_Authority(BSTR*) override { return not_supported(); }
  STDMETHODIMP put_Authority(BSTR) override { return not_supported(); }
};

}  // namespace kvwmi::stand_in
