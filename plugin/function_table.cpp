#include "plugin/function_table.h"

#include <cstring>

#include "core/constants.h"
#include "core/typetests.h"
#include "methods/dense_algebra.h"
#include "methods/finance.h"
#include "methods/integration.h"
#include "methods/linear_systems.h"
#include "methods/matrix_ops.h"
#include "methods/options.h"
#include "methods/numeric_errors.h"
#include "methods/math_shims.h"
#include "numeric/classify.h"
#include "numeric/logpow.h"
#include "numeric/rounding.h"
#include "numeric/trig.h"
#include "numeric/two_argument.h"
#include "numeric/bits.h"
#include "numeric/convert.h"
#include "numeric/divmod_poly.h"
#include "numeric/md5.h"
#include "numeric/random.h"
#include "plugin/module_functions.h"
#include "system/handles.h"
#include "system/process.h"
#include "system/runtime.h"
#include "text/dates.h"
#include "text/filenames.h"
#include "text/format.h"
#include "text/numbers.h"
#include "text/strings.h"

namespace vkl::plugin {
namespace {

constexpr auto kElementwiseRows = with_partial_result(join_rows(
    numeric::trig::kTrigRows, numeric::logpow::kLogPowRows, numeric::rounding::kRoundingRows,
    numeric::classify::kClassifyRows, numeric::two_argument::kTwoArgumentRows, kBitRows,
    kConvertRows, kDivModPolyRows, kMd5Rows, kRandomRows, kInternalRateOfReturnRows));

constexpr auto kRows = join_rows(kTypeTestRows, kConstantRows, kModuleRows, kHandleRows,
                                 kFormatRows, text::kStringRows, text::kStringOwnRows,
                                 text::kFileNameRows, text::kNumberRows, kProcessRows,
                                 kElementwiseRows, kRuntimeRows, text::kDateCodedRows,
                                 text::kDateOwnRows, kMatrixOpRows, kLinearSystemRows,
                                 kFinanceRows, kIntegrationRows, kDenseAlgebraRows, kOptionRows,
                                 methods::kSpecialFunctionRows, methods::kNumericErrorRows);

constexpr auto entries_of(const decltype(kRows)& rows) {
  std::array<VKL_FunctionEntry, kRows.size()> entries{};
  for (size_t i = 0; i < rows.size(); ++i) entries[i] = {rows[i].name, rows[i].handler};
  return entries;
}

constexpr auto kEntries = entries_of(kRows);

}  // namespace

const VKL_FunctionEntry* const FunctionTable = kEntries.data();
const int FunctionTableSize = static_cast<int>(kEntries.size());

const FunctionRow* find_function_row(const char* name) {
  for (const FunctionRow& row : kRows)
    if (std::strcmp(row.name, name) == 0) return &row;
  return nullptr;
}

}  // namespace vkl::plugin

// The script signature and description of a table function, for the host's help; 0 when the
// name is not in the table.
extern "C" VKL_API int VKL_PluginFunctionDoc(const char* name, const char** signature,
                                             const char** summary) {
  const vkl::plugin::FunctionRow* row = vkl::plugin::find_function_row(name);
  if (!row) return 0;
  *signature = row->signature;
  *summary = row->summary;
  return 1;
}

// 1 when a rejected call of the table function may leave a partly built result in the result
// cell (the caller releases it as any result); 0 when a rejection leaves the cell as it was.
extern "C" VKL_API int VKL_PluginPartialResult(const char* name) {
  const vkl::plugin::FunctionRow* row = vkl::plugin::find_function_row(name);
  return row && row->partial_result;
}
