// How the page of a report looks. Colours of texts have a contrast of 4.5 or more to what is below
// them, in both schemes; outcomes are told by word and form too, never by colour alone.
#pragma once

namespace cli {

inline constexpr const char* kReportStyle = R"(
:root{color-scheme:light dark;--page:#f6f6f3;--card:#fff;--text:#1d2226;--quiet:#59626b;--edge:#dddcd6;
--red:#b3261e;--red-back:#fdecea;--amber:#7d5100;--amber-back:#fbf1dc;--green:#1c7447;--grid:#e4e4df}
@media (prefers-color-scheme:dark){:root{--page:#14171a;--card:#1c2024;--text:#e6e8e9;--quiet:#a4adb5;
--edge:#31373d;--red:#ff9d93;--red-back:#41211f;--amber:#ebbb66;--amber-back:#372c17;--green:#74d0a0;
--grid:#2c3237}}
*{box-sizing:border-box}
body{margin:0;background:var(--page);color:var(--text);font:16px/1.5 system-ui,sans-serif;
-webkit-text-size-adjust:100%}
main{max-width:60rem;margin:0 auto;padding:1.5rem 1rem 3rem}
h1,h2,h3,p,ul{margin:0}
h1{font-size:1.6rem;line-height:1.25;font-weight:650;overflow-wrap:anywhere}
h2{font-size:1.1rem;font-weight:650;margin:2.2rem 0 .7rem}
h3{font-size:1rem;font-weight:650;overflow-wrap:anywhere}
p{overflow-wrap:anywhere}
.quiet{color:var(--quiet)}
h3 .quiet{font-weight:400}
.sum{display:flex;flex-wrap:wrap;gap:.5rem;padding:0;margin:1rem 0 0;list-style:none}
.sum li{padding:.15rem .7rem;border:1px solid var(--edge);border-radius:1rem;background:var(--card)}
.red{color:var(--red);background:var(--red-back)}
.amber{color:var(--amber);background:var(--amber-back)}
.green{color:var(--green)}
.sum .red,.sum .amber{border-color:currentColor}
.sum .red{background:var(--red-back)}
.sum .amber{background:var(--amber-back)}
article,.note{background:var(--card);border:1px solid var(--edge);border-radius:.6rem;
padding:.9rem 1rem;margin:0 0 .8rem}
article.red,article.amber,article.green,article.quiet{color:var(--text);background:var(--card)}
article.red{border-left:4px solid var(--red)}
article.amber{border-left:4px solid var(--amber)}
article>p{margin-top:.35rem}
.word{display:inline-block;padding:0 .5rem;margin-right:.45rem;border-radius:.3rem;font-weight:650;
font-size:.875rem}
.word.green,.word.quiet{padding-left:0;margin-right:.2rem}
.line{display:grid;grid-template-columns:auto minmax(0,1fr);column-gap:.8rem;margin:.7rem .3rem 0 0;
font-size:.8125rem;color:var(--quiet)}
.lanes span{display:block;height:20px;line-height:20px}
svg{display:block;overflow:visible;fill:none}
.line svg{width:100%}
.dates{grid-column:2;display:flex;justify-content:space-between}
path{vector-effect:non-scaling-stroke;stroke-width:2}
.g{stroke:var(--grid);stroke-width:1}
.p{stroke:var(--green)}
.s{stroke:var(--red);stroke-width:3}
.f,.a,.i{stroke-linecap:round}
.f{stroke:var(--red);stroke-width:11}
.a{stroke:var(--amber);stroke-width:9}
.i{stroke:var(--card);stroke-width:4}
.u,.j{stroke-linecap:square}
.u{stroke:var(--quiet);stroke-width:8}
.j{stroke:var(--card);stroke-width:3}
.legend{display:flex;flex-wrap:wrap;gap:.2rem 1.2rem;padding:0;margin:.8rem 0 0;list-style:none;
font-size:.875rem;color:var(--quiet)}
.legend li{display:flex;align-items:center;gap:.35rem}
.legend .i,.legend .j{stroke:var(--page)}
details{margin-top:.5rem;font-size:.875rem}
summary{cursor:pointer;color:var(--quiet)}
summary:focus-visible{outline:2px solid currentColor;outline-offset:2px}
table{width:100%;border-collapse:collapse;font-variant-numeric:tabular-nums}
th,td{padding:.35rem .8rem .35rem 0;text-align:left;vertical-align:top;border-top:1px solid var(--edge);
overflow-wrap:anywhere}
th{font-weight:400;color:var(--quiet);border-top:0}
tbody th{color:inherit;border-top:1px solid var(--edge)}
thead th{overflow-wrap:normal}
td .word{margin:0 .3rem 0 0}
.whole{white-space:nowrap}
.fleet{background:var(--card);border:1px solid var(--edge);border-radius:.6rem;padding:.3rem 1rem}
.fleet table{table-layout:fixed}
.fleet thead th:first-child{width:36%}
.fleet thead th:last-child{width:7rem}
footer{margin-top:2.5rem;color:var(--quiet);font-size:.875rem}
@media (max-width:32rem){main{padding:1rem .6rem 2rem}article,.note{padding:.7rem .7rem}
.fleet{padding:.3rem .7rem}th,td{padding-right:.5rem}
.fleet thead{display:none}.fleet tr{display:grid;grid-template-columns:minmax(0,1fr) auto}
.fleet td:nth-child(2){grid-row:2;grid-column:1/3;border:0;padding-top:0}.fleet .whole{padding-right:0}}
@media print{:root{--page:#fff;--card:#fff;--text:#000;--quiet:#444;--edge:#bbb;--red:#a01a12;
--red-back:#fff;--amber:#6b4500;--amber-back:#fff;--green:#14532f;--grid:#ccc}
body{font-size:10.5pt}main{max-width:none;padding:0}article{break-inside:avoid}h2{break-after:avoid}
tr{break-inside:avoid}
*{-webkit-print-color-adjust:exact;print-color-adjust:exact}
details::details-content{content-visibility:visible;block-size:auto}}
)";

}  // namespace cli
