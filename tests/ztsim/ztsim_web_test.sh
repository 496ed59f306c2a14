#!/bin/bash
# ztsim_web_test.sh ZTSIM TEST: what ztsim --web answers, without a browser. Each function whose name begins with
# "ztsim_" is a test.

ztsim=$1
here=$(dirname "$(readlink -f "$0")")
. "$here/support.sh"

# web [OPTION...] CODE: what the Python code prints that has a page at hand, see web.py
web()
{
    python3 "$here/web.py" "$ztsim" "${@:1:$#-1}" -- "${!#}" 2>&1
}

ztsim_web_answers_nobody_without_the_token()
{
    expect_eq "$(web '
for path, method in ("/", "GET"), ("/events", "GET"), ("/command", "POST"), ("/other", "GET"):
    wrong = [given for given in ("", token[:-1], token + "0", token.upper(), "0" * 32, token + "&x=1")
             if ask(path, method, "[]", given)[0] != 403]
    print(path, wrong)')" $'/ []\n/events []\n/command []\n/other []'
}

ztsim_web_answers_no_other_host_or_origin()
{
    expect_eq "$(web '
port = host.split(":")[1]
print([ask("/", Host=name)[0] for name in ("evil.example", "evil.example:" + port, "localhost:" + port, "127.0.0.1", host)])
print([ask("/command", "POST", "[\"power\", \"3\"]", Origin=name)[0]
       for name in ("http://evil.example", "null", "https://" + host, "http://127.0.0.1:1", "")])
print(say("power"))
print(ask("/command", "POST", "[\"power\", \"3\"]", Origin="http://" + host)[0], say("power"))')" \
        "[403, 403, 403, 403, 200]
[403, 403, 403, 403, 403]
{'outcome': 'done', 'lines': ['0']}
200 {'outcome': 'done', 'lines': ['3']}"
}

ztsim_web_tells_browsers_to_run_nothing_else()
{
    expect_eq "$(web '
import re
status, headers, page = ask("/")
policy = headers["Content-Security-Policy"]
nonce = re.search("script-src .nonce-([0-9]+)", policy)[1]
print(policy.replace(nonce, "N"))
print([headers[name] for name in ("X-Frame-Options", "X-Content-Type-Options", "Referrer-Policy", "Cache-Control")])
print(page.count("nonce=\"" + nonce + "\""), "NONCE" in page, nonce in ask("/")[2])
print(re.findall("(?:src|href)=\"[^\"]*\"|https?:[^ \"]*|innerHTML|eval", page))')" \
        "default-src 'none'; connect-src 'self'; script-src 'nonce-N'; style-src 'nonce-N'; img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'
['DENY', 'nosniff', 'no-referrer', 'no-store']
2 False False
['href=\"data:,\"', \"http://www.w3.org/2000/svg',\"]"
}

ztsim_web_does_what_it_is_told()
{
    expect_eq "$(web '
print(say("device", "touch", "-1"), say("device", "touch"))
print(say("toast")["lines"][0][:28], say())
print(say("await", "timeout", "2", "--wait", "0"))
for body in "", "{}", "{\"a\": \"b\"}", "5", "[5]", "[[\"power\"]]", "[\"power\"", "\xff":
    print(json.loads(ask("/command", "POST", body)[2])["outcome"], end=" ")
print()
print(ask("/command")[0], ask("/", "POST")[0], ask("/toast")[0])
try:
    print(ask("/command", "POST", "[\"" + "x" * 5000 + "\"]")[0])
except (ConnectionError, http.client.HTTPException):
    print("refused")')" "{'outcome': 'done', 'lines': []} {'outcome': 'done', 'lines': ['-1']}
there is no command \"toast\", {'outcome': 'refused', 'lines': ['there is no command \"\", but power, timeout, propagation, device, health, hang-up, power-fault, health-fault, slow, deaf, await, count, records, show and watch']}
{'outcome': 'too late', 'lines': ['no client has said \"timeout 2\" in time']}
refused refused refused refused refused refused refused refused 
404 404 404
refused"
}

ztsim_web_tells_of_each_event_once()
{
    expect_eq "$(web --name "left-$$" '
stream = events(ask("/events")[2])
name, commands = next(stream)
print(name, commands[0])
print([command["verb"] for command in commands])
name, state = next(stream)
print(name, state["name"], state["power"]["state"], state["eth0"]["address"])
say("power", "3")
print([(entry["n"], entry["kind"], entry["text"]) for entry in next(stream)[1]["list"]])
print([(cause["state"], cause["by"], cause["text"]) for cause in next(stream)[1]["causes"]])
later = events(ask("/events", Last_Event_ID="1")[2])
say("power", "4")
print(next(later)[0], [entry["text"] for entry in next(entries for name, entries in later if name == "entries")["list"]])
')" "commands {'verb': 'power', 'help': 'the power state, 0..6; 6 is never reported', 'arguments': [{'name': 'STATE', 'required': False, 'flag': False, 'words': False, 'hint': '0..6'}]}
['power', 'timeout', 'propagation', 'device', 'health', 'hang-up', 'power-fault', 'health-fault', 'slow', 'deaf', 'await', 'count', 'records', 'show', 'watch']
state left-$$ 0 192.168.135.6
[(1, 'ctl', 'power 3')]
[(3, 'ctl', 'power 3')]
commands ['power 4']"
}

# The browser does not read for as long as it takes to fill all that is between; nothing is kept for it but the ring.
ztsim_web_keeps_the_newest_for_a_page_that_is_slow()
{
    expect_eq "$(web '
import socket
page = http.client.HTTPConnection(host)
page.sock = socket.socket()
page.sock.settimeout(60)
page.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)  # lest the sockets hold all of it
page.sock.connect((page.host, page.port))
page.request("GET", "/events?token=" + token)
answer = page.getresponse()
device.stdin.write("python3 '"$here"'/../web/burst.py 15000; echo said\n")
device.stdin.flush()
print(device.stdout.readline().strip())
last = lost = seen = 0
for name, data in events(answer):
    if name == "entries":
        lost += data["lost"]
        seen += len(data["list"])
        last = data["list"][-1]["n"]
    if last == 30002:
        break
print(lost > 0, lost + seen)')" $'said\nTrue 30002'
}

ztsim_web_tells_what_is_wrong_with_a_port()
{
    expect_failure 125 '--web: "70000" is not in 0..65535; see ztsim --help' "$ztsim" --web 70000 -- true
    expect_failure 125 '--web: "x" is not in 0..65535; see ztsim --help' "$ztsim" --web x -- true
    expect_eq "$(web '
port = host.split(":")[1]
print(subprocess.run([ztsim, "--web", port, "--", "true"], stderr=subprocess.PIPE, text=True).stderr.replace(port, "N"))')" \
        "ztsim: --web: cannot listen on port N of 127.0.0.1: Address already in use; see ztsim --help"
}

ztsim_web_leaves_its_socket_to_no_program()
{
    expect_eq "$("$ztsim" --web -- sh -c 'ls -l /proc/self/fd | grep -c socket:' 2>/dev/null </dev/null)" 0
}

$2
[ $failures -eq 0 ]
