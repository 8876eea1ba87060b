// Constants of the platform's data model and its system parameters: colours, fill styles,
// chart kinds, directions, rights transforms, cycle filters, file formats and read/write element
// kinds as integers; system parameter names; cycle names; reading and writing the system
// parameters the interpreter keeps per run.
#pragma once

#include <vkl/kernel.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "plugin/function_row.h"

namespace vkl::core {

// Text usable as a template argument, so that every constant is its own handler and names with
// the same value share one.
template <size_t N>
struct FixedText {
  char bytes[N];
  constexpr FixedText(const char (&text)[N]) { std::copy_n(text, N, bytes); }
};

// name(): the integer Value; arguments are ignored
template <int32_t Value>
int constant_int(VKL_State* L, TObject*, int, TObject* result) {
  VKL_SetInt(L, result, Value);
  return 1;
}

// name(): the narrow string Text; arguments are ignored
template <FixedText Text>
int constant_text(VKL_State* L, TObject*, int, TObject* result) {
  return VKL_SetString(L, result, Text.bytes);
}

// Cycles given by a number (constants.cpp).
int cy_freecycle(VKL_State* L, TObject* args, int nargs, TObject* result);
int cy_trailingdays(VKL_State* L, TObject* args, int nargs, TObject* result);
int cy_trailingseconds(VKL_State* L, TObject* args, int nargs, TObject* result);

// System parameters (sysparams.cpp).
int getsysparam(VKL_State* L, TObject* args, int nargs, TObject* result);
int setsysparam(VKL_State* L, TObject* args, int nargs, TObject* result);
int getsysparams(VKL_State* L, TObject* args, int nargs, TObject* result);
int setsysparams(VKL_State* L, TObject* args, int nargs, TObject* result);
int freesysparams(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::core

namespace vkl::plugin {

using core::constant_int;
using core::constant_text;

inline constexpr FunctionRow kConstantRows[] = {
    // Colours, blue-green-red: red is the low byte.
    {"clblack", constant_int<0>, "clblack()", "colour black: 0"},
    {"clmaroon", constant_int<128>, "clmaroon()", "colour maroon: 128"},
    {"clgreen", constant_int<32768>, "clgreen()", "colour green: 32768"},
    {"clolive", constant_int<32896>, "clolive()", "colour olive: 32896"},
    {"clnavy", constant_int<8388608>, "clnavy()", "colour navy: 8388608"},
    {"clpurple", constant_int<8388736>, "clpurple()", "colour purple: 8388736"},
    {"clteal", constant_int<8421376>, "clteal()", "colour teal: 8421376"},
    {"clgray", constant_int<8421504>, "clgray()", "colour gray: 8421504"},
    {"cldkgray", constant_int<8421504>, "cldkgray()", "colour dark gray: 8421504"},
    {"clsilver", constant_int<12632256>, "clsilver()", "colour silver: 12632256"},
    {"clltgray", constant_int<12632256>, "clltgray()", "colour light gray: 12632256"},
    {"clred", constant_int<255>, "clred()", "colour red: 255"},
    {"cllime", constant_int<65280>, "cllime()", "colour lime: 65280"},
    {"clyellow", constant_int<65535>, "clyellow()", "colour yellow: 65535"},
    {"clblue", constant_int<16711680>, "clblue()", "colour blue: 16711680"},
    {"clfuchsia", constant_int<16711935>, "clfuchsia()", "colour fuchsia: 16711935"},
    {"claqua", constant_int<16776960>, "claqua()", "colour aqua: 16776960"},
    {"clwhite", constant_int<16777215>, "clwhite()", "colour white: 16777215"},
    {"clmoneygreen", constant_int<12639424>, "clmoneygreen()", "colour money green: 12639424"},
    {"clskyblue", constant_int<15780518>, "clskyblue()", "colour sky blue: 15780518"},
    {"clcream", constant_int<15793151>, "clcream()", "colour cream: 15793151"},
    {"clmedgray", constant_int<10789024>, "clmedgray()", "colour medium gray: 10789024"},
    // Fill styles.
    {"flsolid", constant_int<-1>, "flsolid()", "fill style solid: -1"},
    {"flclear", constant_int<0>, "flclear()", "fill style clear: 0"},
    {"flhorizontal", constant_int<1>, "flhorizontal()", "fill style horizontal lines: 1"},
    {"flvertical", constant_int<2>, "flvertical()", "fill style vertical lines: 2"},
    {"flfdiagonal", constant_int<3>, "flfdiagonal()", "fill style forward diagonals: 3"},
    {"flbdiagonal", constant_int<4>, "flbdiagonal()", "fill style backward diagonals: 4"},
    {"flcross", constant_int<5>, "flcross()", "fill style cross: 5"},
    {"fldiagcross", constant_int<6>, "fldiagcross()", "fill style diagonal cross: 6"},
    // Chart kinds.
    {"gtline", constant_int<1>, "gtline()", "chart kind line: 1"},
    {"gtkline", constant_int<2>, "gtkline()", "chart kind candlestick: 2"},
    {"gttower", constant_int<3>, "gttower()", "chart kind tower: 3"},
    {"gtamerican", constant_int<4>, "gtamerican()", "chart kind American bars: 4"},
    {"gtbar", constant_int<5>, "gtbar()", "chart kind bar: 5"},
    {"gtsinglebar", constant_int<6>, "gtsinglebar()", "chart kind single bar: 6"},
    {"gtcircle", constant_int<7>, "gtcircle()", "chart kind circle: 7"},
    // Directions.
    {"fgnone", constant_int<0>, "fgnone()", "direction none: 0"},
    {"fgleft", constant_int<1>, "fgleft()", "direction left: 1"},
    {"fgup", constant_int<2>, "fgup()", "direction up: 2"},
    {"fgright", constant_int<3>, "fgright()", "direction right: 3"},
    {"fgdown", constant_int<4>, "fgdown()", "direction down: 4"},
    {"fgleftup", constant_int<5>, "fgleftup()", "direction left and up: 5"},
    {"fgrightup", constant_int<6>, "fgrightup()", "direction right and up: 6"},
    {"fgrightdown", constant_int<7>, "fgrightdown()", "direction right and down: 7"},
    {"fgleftdown", constant_int<8>, "fgleftdown()", "direction left and down: 8"},
    // Rights transforms and the rights date.
    {"rt_none", constant_int<0>, "rt_none()", "rights transform none: 0"},
    {"rt_scale", constant_int<1>, "rt_scale()", "rights transform scaled: 1"},
    {"rt_complex", constant_int<2>, "rt_complex()", "rights transform compound: 2"},
    {"rd_lastday", constant_int<0>, "rd_lastday()", "rights date the last day: 0"},
    {"rd_firstday", constant_int<-1>, "rd_firstday()", "rights date the first day: -1"},
    // Cycle filter flags (there is no 2).
    {"cf_default", constant_int<0>, "cf_default()", "cycle filter default: 0"},
    {"cf_nonighttrading", constant_int<1>, "cf_nonighttrading()",
     "cycle filter without night trading: 1"},
    {"cf_callauctiontoseries", constant_int<3>, "cf_callauctiontoseries()",
     "cycle filter call auction into the series: 3"},
    {"cf_suspendtoseries", constant_int<4>, "cf_suspendtoseries()",
     "cycle filter suspended days into the series: 4"},
    // File formats (there is no 4).
    {"ftcsv", constant_int<0>, "ftcsv()", "file format CSV: 0"},
    {"ftxls", constant_int<1>, "ftxls()", "file format XLS: 1"},
    {"ftstream", constant_int<2>, "ftstream()", "file format stream: 2"},
    {"ftstring", constant_int<3>, "ftstring()", "file format string: 3"},
    {"ftxml", constant_int<5>, "ftxml()", "file format XML: 5"},
    {"ftxls2", constant_int<6>, "ftxls2()", "file format XLS, second form: 6"},
    {"ftxls3", constant_int<7>, "ftxls3()", "file format XLS, third form: 7"},
    {"ftdbf", constant_int<8>, "ftdbf()", "file format DBF: 8"},
    // Read/write element kinds.
    {"rwbyte", constant_int<0>, "rwbyte()", "element kind byte: 0"},
    {"rwint", constant_int<1>, "rwint()", "element kind integer: 1"},
    {"rwreal", constant_int<2>, "rwreal()", "element kind real: 2"},
    {"rwstr", constant_int<3>, "rwstr()", "element kind string: 3"},
    {"rwobj", constant_int<4>, "rwobj()", "element kind value: 4"},
    {"rwraw", constant_int<5>, "rwraw()", "element kind raw bytes: 5"},
    {"rwbinary", constant_int<6>, "rwbinary()", "element kind binary: 6"},
    // System parameter names, as getsysparam and setsysparam take them.
    {"pn_stock", constant_text<"StockID">, "pn_stock()", "parameter name \"StockID\""},
    {"pn_date", constant_text<"CurrentDate">, "pn_date()", "parameter name \"CurrentDate\""},
    {"pn_rate", constant_text<"bRate">, "pn_rate()", "parameter name \"bRate\""},
    {"pn_rateday", constant_text<"RateDay">, "pn_rateday()", "parameter name \"RateDay\""},
    {"pn_nday", constant_text<"nDay">, "pn_nday()", "parameter name \"nDay\""},
    {"pn_cycle", constant_text<"Cycle">, "pn_cycle()", "parameter name \"Cycle\""},
    {"pn_precision", constant_text<"Precision">, "pn_precision()", "parameter name \"Precision\""},
    {"pn_niltrans", constant_text<"NilTrans">, "pn_niltrans()", "parameter name \"NilTrans\""},
    {"pn_i64trans", constant_text<"I64Trans">, "pn_i64trans()", "parameter name \"I64Trans\""},
    {"pn_languageid", constant_text<"LanguageID">, "pn_languageid()",
     "parameter name \"LanguageID\""},
    {"pn_bk", constant_text<"CurrentBkName">, "pn_bk()", "parameter name \"CurrentBkName\""},
    {"pn_sector", constant_text<"CurrentBkName">, "pn_sector()",
     "parameter name \"CurrentBkName\""},
    {"pn_endt", constant_text<"EndT">, "pn_endt()", "parameter name \"EndT\""},
    {"pn_begt", constant_text<"BegT">, "pn_begt()", "parameter name \"BegT\""},
    {"pn_timeindex", constant_text<"TimeIndex">, "pn_timeindex()", "parameter name \"TimeIndex\""},
    {"pn_viewpoint", constant_text<"viewpoint">, "pn_viewpoint()", "parameter name \"viewpoint\""},
    {"pn_reportmode", constant_text<"ReportMode">, "pn_reportmode()",
     "parameter name \"ReportMode\""},
    {"pn_emptymode", constant_text<"EmptyMode">, "pn_emptymode()", "parameter name \"EmptyMode\""},
    {"pn_freecycle", constant_text<"FreeCycle">, "pn_freecycle()", "parameter name \"FreeCycle\""},
    // The interpreter stores this key with the double R.
    {"pn_reporttype", constant_text<"RreportType">, "pn_reporttype()",
     "parameter name \"RreportType\""},
    {"pn_keeprawdata", constant_text<"KeepRawData">, "pn_keeprawdata()",
     "parameter name \"KeepRawData\""},
    {"pn_standardarray", constant_text<"StandardArray">, "pn_standardarray()",
     "parameter name \"StandardArray\""},
    {"pn_textresult", constant_text<"TextResult">, "pn_textresult()",
     "parameter name \"TextResult\""},
    {"pn_resultfilename", constant_text<"ResultFileName">, "pn_resultfilename()",
     "parameter name \"ResultFileName\""},
    {"pn_uid", constant_text<"uid">, "pn_uid()", "parameter name \"uid\""},
    {"pn_cyclefilter", constant_text<"cyclefilter">, "pn_cyclefilter()",
     "parameter name \"cyclefilter\""},
    // Cycle names: code page 936 (GBK) bytes, the values of the "Cycle" parameter.
    {"cy_day", constant_text<"\xC8\xD5\xCF\xDF">, "cy_day()", "name of the day cycle: 日线"},
    {"cy_week", constant_text<"\xD6\xDC\xCF\xDF">, "cy_week()", "name of the week cycle: 周线"},
    {"cy_month", constant_text<"\xD4\xC2\xCF\xDF">, "cy_month()", "name of the month cycle: 月线"},
    {"cy_quarter", constant_text<"\xBC\xBE\xCF\xDF">, "cy_quarter()",
     "name of the quarter cycle: 季线"},
    {"cy_halfyear", constant_text<"\xB0\xEB\xC4\xEA\xCF\xDF">, "cy_halfyear()",
     "name of the half-year cycle: 半年线"},
    {"cy_year", constant_text<"\xC4\xEA\xCF\xDF">, "cy_year()", "name of the year cycle: 年线"},
    {"cy_1m", constant_text<"1\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_1m()",
     "name of the 1-minute cycle: 1分钟线"},
    {"cy_2m", constant_text<"2\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_2m()",
     "name of the 2-minute cycle: 2分钟线"},
    {"cy_3m", constant_text<"3\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_3m()",
     "name of the 3-minute cycle: 3分钟线"},
    {"cy_5m", constant_text<"5\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_5m()",
     "name of the 5-minute cycle: 5分钟线"},
    {"cy_10m", constant_text<"10\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_10m()",
     "name of the 10-minute cycle: 10分钟线"},
    {"cy_15m", constant_text<"15\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_15m()",
     "name of the 15-minute cycle: 15分钟线"},
    {"cy_20m", constant_text<"20\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_20m()",
     "name of the 20-minute cycle: 20分钟线"},
    {"cy_30m", constant_text<"30\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_30m()",
     "name of the 30-minute cycle: 30分钟线"},
    {"cy_40m", constant_text<"40\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_40m()",
     "name of the 40-minute cycle: 40分钟线"},
    {"cy_60m", constant_text<"60\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_60m()",
     "name of the 60-minute cycle: 60分钟线"},
    {"cy_120m", constant_text<"120\xB7\xD6\xD6\xD3\xCF\xDF">, "cy_120m()",
     "name of the 120-minute cycle: 120分钟线"},
    {"cy_1s", constant_text<"1\xC3\xEB\xCF\xDF">, "cy_1s()", "name of the 1-second cycle: 1秒线"},
    {"cy_2s", constant_text<"2\xC3\xEB\xCF\xDF">, "cy_2s()", "name of the 2-second cycle: 2秒线"},
    {"cy_3s", constant_text<"3\xC3\xEB\xCF\xDF">, "cy_3s()", "name of the 3-second cycle: 3秒线"},
    {"cy_4s", constant_text<"4\xC3\xEB\xCF\xDF">, "cy_4s()", "name of the 4-second cycle: 4秒线"},
    {"cy_5s", constant_text<"5\xC3\xEB\xCF\xDF">, "cy_5s()", "name of the 5-second cycle: 5秒线"},
    {"cy_6s", constant_text<"6\xC3\xEB\xCF\xDF">, "cy_6s()", "name of the 6-second cycle: 6秒线"},
    {"cy_10s", constant_text<"10\xC3\xEB\xCF\xDF">, "cy_10s()",
     "name of the 10-second cycle: 10秒线"},
    {"cy_12s", constant_text<"12\xC3\xEB\xCF\xDF">, "cy_12s()",
     "name of the 12-second cycle: 12秒线"},
    {"cy_15s", constant_text<"15\xC3\xEB\xCF\xDF">, "cy_15s()",
     "name of the 15-second cycle: 15秒线"},
    {"cy_20s", constant_text<"20\xC3\xEB\xCF\xDF">, "cy_20s()",
     "name of the 20-second cycle: 20秒线"},
    {"cy_30s", constant_text<"30\xC3\xEB\xCF\xDF">, "cy_30s()",
     "name of the 30-second cycle: 30秒线"},
    {"cy_halfs", constant_text<"\xB0\xEB\xC3\xEB\xCF\xDF">, "cy_halfs()",
     "name of the half-second cycle: 半秒线"},
    {"cy_detail", constant_text<"\xB3\xC9\xBD\xBB\xC3\xF7\xCF\xB8">, "cy_detail()",
     "name of the trade detail cycle: 成交明细"},
    {"cy_f30m",
     constant_text<"\xC6\xDA\xBB\xF5"
                   "30\xB7\xD6\xD6\xD3\xCF\xDF">,
     "cy_f30m()", "name of the futures 30-minute cycle: 期货30分钟线"},
    {"cy_f60m",
     constant_text<"\xC6\xDA\xBB\xF5"
                   "60\xB7\xD6\xD6\xD3\xCF\xDF">,
     "cy_f60m()", "name of the futures 60-minute cycle: 期货60分钟线"},
    {"cy_freecycle", core::cy_freecycle, "cy_freecycle(n)", "a free cycle of n: n itself"},
    {"cy_trailingdays", core::cy_trailingdays, "cy_trailingdays(n)",
     "name of the trailing cycle of n days: \"<n>d\""},
    {"cy_trailingseconds", core::cy_trailingseconds, "cy_trailingseconds(n)",
     "name of the trailing cycle of n seconds: \"<n>s\""},
    // System parameters.
    {"getsysparam", core::getsysparam, "getsysparam(name)",
     "the value of a system parameter, nil when unset"},
    {"sp_g", core::getsysparam, "sp_g(name)", "the value of a system parameter (getsysparam)"},
    {"setsysparam", core::setsysparam, "setsysparam(name, value [, name, value ...])",
     "sets system parameters pair by pair; the answer of the last"},
    {"sp_s", core::setsysparam, "sp_s(name, value [, name, value ...])",
     "sets system parameters (setsysparam)"},
    {"getsysparams", core::getsysparams, "getsysparams()",
     "a table of every current system parameter"},
    {"setsysparams", core::setsysparams, "setsysparams(x)",
     "saves the current system parameters as the defaults; needs the system right"},
    {"freesysparams", core::freesysparams, "freesysparams()",
     "drops the saved and current system parameters; needs the system right"},
};

}  // namespace vkl::plugin
