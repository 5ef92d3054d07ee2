-- wrk script: single lookups (POST /v1/lookup) cycling through the first
-- 10,000 rows of a list made by `ncoa dataset synth` (no quoted fields).
-- Non-2xx answers are counted by wrk itself.
--   wrk -t2 -c64 -d30s --latency -s bench/serve_lookups.lua http://127.0.0.1:8080 -- LIST.csv
local bodies = {}
local n = 0

function init(args)
  local f = assert(io.open(args[1], "r"))
  local head, col = f:read("*l"), {}
  local i = 0
  for name in (head .. ","):gmatch("([^,]*),") do i = i + 1; col[name] = i end
  for line in f:lines() do
    local v = {}
    for x in (line .. ","):gmatch("([^,]*),") do v[#v + 1] = x end
    local name = v[col["Name"]] ~= "" and v[col["Name"]] or v[col["Company"]]
    bodies[#bodies + 1] = string.format(
      '{"name":"%s","pno":"%s","sno":"%s","desc":"%s","zip9":"%s%s","type":"%s"}',
      name, v[col["Primary Number"]], v[col["Secondary Number"]], v[col["Secondary Designator"]],
      v[col["ZIP"]], v[col["ZIP4"]], v[col["Record Type"]])
    if #bodies == 10000 then break end
  end
  f:close()
  wrk.method = "POST"
  wrk.headers["Content-Type"] = "application/json"
end

function request()
  n = n % #bodies + 1
  return wrk.format(nil, "/v1/lookup", nil, bodies[n])
end
