#include "tests/catalogue/type_names.h"

namespace catalogue_test {

std::string reduce_idl_type(const std::string& idl_type) {
  size_t stars = idl_type.find('*');
  std::string base = idl_type.substr(0, stars == std::string::npos ? idl_type.size() : stars);
  std::string suffix = stars == std::string::npos ? "" : idl_type.substr(stars);
  if (base.compare(0, 10, "SAFEARRAY(") == 0) {
    // SAFEARRAY(IChannelInfo*)*: the stars inside belong to the element type.
    size_t close = idl_type.rfind(')');
    return "SAFEARRAY*" + idl_type.substr(close + 1);
  }
  if (base == "HRESULT") base = "long";
  if (base == "VARIANT_BOOL") base = "short";
  if (base == "DATE") base = "double";
  if (base == "BSTR") base = "OLECHAR*";
  return base + suffix;
}

}  // namespace catalogue_test
