# Turns hyperfine's results of all rounds into the table that bench/run prints.

def median: sort | (.[(length - 1) / 2 | floor] + .[length / 2 | floor]) / 2;
def show: . * 100 | round | "\(. / 100 | floor).\(. % 100 + 100 | tostring[1:])";

([.[].results[]] | group_by(.command)
  | map({key: .[0].command, value: {wall: map(.median) | median, cpu: map((.user // 0) + (.system // 0)) | median}}) | from_entries) as $m

# A row: what $a takes, what $b takes, and the ratio.
| def row($what; $a; $b; $most):
    def figure: "\(.wall * 1000 | show) (\(.cpu * 1000 | show))";
    [$what, ($m[$a] | figure), ($m[$b] | figure),
     "\($m[$a].wall / $m[$b].wall | show) (\($m[$a].cpu / $m[$b].cpu | show))", $most] | join("|");
  def memory($a; $b; $most):
    ["  peak memory, MiB", ($m[$a].wall / 1024 | show), ($m[$b].wall / 1024 | show),
     ($m[$a].wall / $m[$b].wall | show), $most] | join("|");
  def per_thousand($n; $time): ($m["\($n)"][$time] - $m["0"][$time]) * 1e6 / $n;
  def spread($time): [1000, 10000, 100000 | per_thousand(.; $time)] | max / min;

  "milliseconds, (processor)|this|that|this / that|at most",
  row("load / the least program with its libraries and probe"; "small"; "floor"; "1.15"),
  row("load in shell with jq / load"; "shell"; "small"; ""),
  row("load in Python / load"; "python"; "small"; ""),
  row("load, 100,000 folders / parse"; "100000"; "parse"; "1.30"),
  memory("100000 memory"; "parse memory"; "1.25"),
  row("save, 100,000 folders / parse and write"; "save"; "write"; "1.50"),
  memory("save memory"; "write memory"; "1.25"),
  ((1000, 10000, 100000) | "load, for each 1,000 of \(.) folders|" +
    "\(per_thousand(.; "wall") | show) (\(per_thousand(.; "cpu") | show))"),
  "  the largest of them / the smallest|||\(spread("wall") | show) (\(spread("cpu") | show))|1.30"
