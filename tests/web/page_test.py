#!/usr/bin/env python3
"""The web page of `ncoa serve` in headless Chromium: the sample list is put
in the page's file input, the page runs the job, and the result it offers for
download must be `ncoa match`'s file. A screenshot of the finished page is
kept. Usage: page_test.py NCOA CHROMIUM SOURCE_DIR OUT_DIR"""
import base64, json, os, re, shutil, socket, subprocess, sys, tempfile, time, urllib.request

ncoa, chromium, src, out = (os.path.abspath(a) if i != 1 else a for i, a in enumerate(sys.argv[1:5]))
work = tempfile.mkdtemp(prefix="qv-web-")
procs = []


def fail(msg):
    print("FAIL:", msg)
    sys.exit(1)


class Ws:
    """Just enough of a WebSocket client for the DevTools protocol."""

    def __init__(self, url):
        m = re.match(r"ws://([^/:]+):(\d+)(/.*)", url)
        self.s = socket.create_connection((m.group(1), int(m.group(2))), timeout=60)
        key = base64.b64encode(os.urandom(16)).decode()
        self.s.sendall((f"GET {m.group(3)} HTTP/1.1\r\nHost: {m.group(1)}:{m.group(2)}\r\nUpgrade: websocket\r\n"
                        f"Connection: Upgrade\r\nSec-WebSocket-Key: {key}\r\nSec-WebSocket-Version: 13\r\n\r\n").encode())
        head = b""
        while b"\r\n\r\n" not in head:
            head += self.s.recv(1)
        if b" 101 " not in head.split(b"\r\n")[0]:
            fail("no websocket: " + head.decode(errors="replace"))
        self.n = 0

    def _exact(self, n):
        b = b""
        while len(b) < n:
            chunk = self.s.recv(n - len(b))
            if not chunk:
                fail("devtools closed")
            b += chunk
        return b

    def _frame(self):
        h = self._exact(2)
        n = h[1] & 127
        if n == 126:
            n = int.from_bytes(self._exact(2), "big")
        elif n == 127:
            n = int.from_bytes(self._exact(8), "big")
        return h[0], self._exact(n)

    def call(self, method, **params):
        self.n += 1
        data = json.dumps({"id": self.n, "method": method, "params": params}).encode()
        mask = os.urandom(4)
        head = bytes([0x81])
        head += bytes([0x80 | len(data)]) if len(data) < 126 else (
            bytes([0x80 | 126]) + len(data).to_bytes(2, "big") if len(data) < 65536 else
            bytes([0x80 | 127]) + len(data).to_bytes(8, "big"))
        self.s.sendall(head + mask + bytes(b ^ mask[i % 4] for i, b in enumerate(data)))
        while True:
            op, payload = self._frame()
            while not op & 0x80:  # continuation frames
                op2, more = self._frame()
                payload += more
                op = op2
            msg = json.loads(payload)
            if msg.get("id") == self.n:
                if "error" in msg:
                    fail(f"{method}: {msg['error']}")
                return msg["result"]

    def js(self, expr):
        r = self.call("Runtime.evaluate", expression=expr, awaitPromise=True, returnByValue=True)
        return r["result"].get("value")


try:
    data = os.path.join(work, "set")
    subprocess.run([ncoa, "dataset", "build", os.path.join(src, "data/sample/world.json"), data, "--quiet"], check=True)
    lst = os.path.join(src, "data/sample/list.csv")
    expected = os.path.join(work, "m.csv")
    subprocess.run([ncoa, "match", "--data", data, "--in", lst, "--out", expected], check=True,
                   stderr=subprocess.DEVNULL)

    srv = subprocess.Popen([ncoa, "serve", "--data", data, "--listen", "127.0.0.1:0"], stdout=subprocess.PIPE)
    procs.append(srv)
    port = srv.stdout.readline().decode().strip().rsplit(":", 1)[1]

    br = subprocess.Popen([chromium, "--headless=new", "--no-sandbox", "--disable-gpu", "--remote-debugging-port=0",
                           "--user-data-dir=" + os.path.join(work, "profile"), "--window-size=1000,1500",
                           "about:blank"], stderr=subprocess.PIPE)
    procs.append(br)
    ws_url = None
    deadline = time.time() + 60
    while ws_url is None and time.time() < deadline:
        line = br.stderr.readline().decode()
        m = re.search(r"DevTools listening on (ws://\S+)", line)
        if m:
            ws_url = m.group(1)
    if ws_url is None:
        fail("chromium did not start")
    dt_port = re.match(r"ws://[^:]+:(\d+)", ws_url).group(1)
    pages = json.load(urllib.request.urlopen(f"http://127.0.0.1:{dt_port}/json/list"))
    page = next(p for p in pages if p["type"] == "page")
    ws = Ws(page["webSocketDebuggerUrl"])

    ws.call("Page.enable")
    ws.call("Page.navigate", url=f"http://127.0.0.1:{port}/")
    deadline = time.time() + 60
    while time.time() < deadline:
        if ws.js("document.readyState") == "complete" and ws.js("document.getElementById('info').textContent"):
            break
        time.sleep(0.1)
    root = ws.call("DOM.getDocument")["root"]["nodeId"]
    node = ws.call("DOM.querySelector", nodeId=root, selector="#file")["nodeId"]
    ws.call("DOM.setFileInputFiles", nodeId=node, files=[lst])
    state = None
    deadline = time.time() + 120
    while not state and time.time() < deadline:
        state = ws.js("document.body.dataset.state")
        time.sleep(0.1)
    if state != "done":
        fail("the page ended " + str(state) + ": " + str(ws.js("document.getElementById('err').textContent")))
    got = ws.js("fetch(document.getElementById('result').href).then(r => r.text())")
    shot = ws.call("Page.captureScreenshot", format="png")["data"]
    os.makedirs(out, exist_ok=True)
    with open(os.path.join(out, "web_page.png"), "wb") as f:
        f.write(base64.b64decode(shot))
    with open(expected, newline="") as f:
        want = f.read()
    if got != want:
        fail(f"the page's result differs from ncoa match's ({len(got)} against {len(want)} characters)")
    codes = ws.js("document.getElementById('codes').textContent")
    if "A" not in codes or "00" not in codes:
        fail("no code counts on the page: " + str(codes))
    print("ok: result equals ncoa match's; screenshot in", os.path.join(out, "web_page.png"))
finally:
    for p in procs:
        p.terminate()
        try:
            p.wait(10)
        except subprocess.TimeoutExpired:
            p.kill()
    shutil.rmtree(work, ignore_errors=True)
