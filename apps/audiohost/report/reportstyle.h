#pragma once

namespace AudioHost {

/// Style sheet of the report: system fonts, light and dark, paper.
constexpr char const* ReportStyle = R"css(
:root { color-scheme: light dark;
  --paper: #ffffff; --panel: #f5f7f9; --ink: #1a2129; --muted: #5a6672; --rule: #dde2e8; --grid: #e9edf1;
  --good: #1f7a4a; --fair: #8a6100; --bad: #b3392c; --mark: #b3392c;
  --s1: #1f6fb2; --s2: #d0700f; --s3: #2f8a57; --s4: #8a4fb0; --s5: #b8406a; --s6: #5f6b76; }
@media (prefers-color-scheme: dark) { :root {
  --paper: #14181d; --panel: #1c2229; --ink: #e6eaee; --muted: #9aa6b2; --rule: #323b45; --grid: #262d35;
  --good: #5cc48d; --fair: #e8c04a; --bad: #f0796b; --mark: #f0796b;
  --s1: #62aee8; --s2: #f0a04b; --s3: #62c48e; --s4: #c08fe0; --s5: #ec86aa; --s6: #a3aeb9; } }
@media print { :root { color-scheme: light;
  --paper: #ffffff; --panel: #ffffff; --ink: #000000; --muted: #444444; --rule: #bbbbbb; --grid: #e4e4e4;
  --good: #1f7a4a; --fair: #8a6100; --bad: #b3392c; --mark: #b3392c;
  --s1: #1f6fb2; --s2: #d0700f; --s3: #2f8a57; --s4: #8a4fb0; --s5: #b8406a; --s6: #5f6b76; }
  body { padding: 0; } figure, section { break-inside: avoid; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 1080px; padding: 40px 28px 64px; background: var(--paper); color: var(--ink);
  font: 15px/1.55 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", "DejaVu Sans", Arial, sans-serif;
  font-variant-numeric: tabular-nums; overflow-wrap: anywhere; }
header { border-bottom: 1px solid var(--rule); padding-bottom: 18px; margin-bottom: 24px; }
h1 { font-size: 28px; line-height: 1.2; margin: 0 0 6px; letter-spacing: -0.01em; }
h2 { font-size: 18px; margin: 36px 0 10px; }
h3 { font-size: 15px; margin: 14px 0 2px; }
p { margin: 0 0 6px; max-width: 80ch; }
.muted, header p { color: var(--muted); }
.verdict { font-size: 19px; font-weight: 600; margin: 0 0 16px; }
.verdict.good { color: var(--good); } .verdict.fair { color: var(--fair); } .verdict.bad { color: var(--bad); }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(124px, 1fr)); gap: 12px; margin: 0 0 22px; }
.tile { background: var(--panel); border: 1px solid var(--rule); border-radius: 8px; padding: 12px 14px; }
.tile b { display: block; font-size: 21px; white-space: nowrap; line-height: 1.25; font-weight: 600; }
.tile span { color: var(--muted); font-size: 13px; }
figure { margin: 0 0 20px; padding: 12px 14px 6px; background: var(--panel); border: 1px solid var(--rule);
  border-radius: 8px; }
figcaption { display: flex; flex-wrap: wrap; gap: 4px 16px; align-items: baseline; margin-bottom: 6px; }
figcaption b { font-weight: 600; }
.key { color: var(--muted); font-size: 13px; } .key i { display: inline-block; width: 18px; height: 4px;
  border-radius: 2px; margin-right: 6px; vertical-align: middle; background: var(--series); }
svg { display: block; width: 100%; height: auto; }
svg text { fill: var(--muted); font-size: 12px; font-family: inherit; } svg .note { fill: var(--ink); }
.series1 { --series: var(--s1); } .series2 { --series: var(--s2); } .series3 { --series: var(--s3); }
.series4 { --series: var(--s4); } .series5 { --series: var(--s5); } .series6 { --series: var(--s6); }
.line { fill: none; stroke: var(--series); stroke-width: 1.6; stroke-linejoin: round; }
.area { fill: var(--series); stroke: none; }
.span { stroke: var(--series); stroke-width: 8; stroke-linecap: round; }
.bar { stroke: var(--series); stroke-width: 16; opacity: 0.28; }
.grid { stroke: var(--grid); stroke-width: 1; } .axis { stroke: var(--muted); stroke-width: 1; opacity: 0.7; }
.mark { stroke: var(--muted); stroke-width: 1; stroke-dasharray: 3 3; opacity: 0.8; }
.mark.bad { stroke: var(--mark); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-size: 14px; }
th, td { text-align: left; padding: 6px 14px 6px 0; border-bottom: 1px solid var(--rule); vertical-align: top; }
th { font-weight: 600; color: var(--muted); font-size: 13px; } .number { text-align: right; white-space: nowrap; }
)css";

} // namespace AudioHost
