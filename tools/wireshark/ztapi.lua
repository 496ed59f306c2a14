-- Decodes in Wireshark and tshark what travels between the processes and devices of ZTAPI OS_ABS: the records of the
-- two daemons and the frames between processes, as "ztsim --capture" writes them, and socket messages over TCP. All
-- numbers are those of a little-endian device. docs/guide/wire-formats.md describes the formats.

local PORT = 15000
local MARKER = "ZTSOCKETMESSAGE"

-- ------------------------------------------------------------------------ the power-management daemon

local TIMEOUT, STATE, DEVICE, PLAIN = "timeout", "state", "device", "plain"

-- By type: what it is, and what it uses.
local power_types = {
    [0] = { "get time-out", STATE }, { "set time-out", TIMEOUT }, { "time-out", TIMEOUT },
    { "get device", PLAIN .. DEVICE }, { "set device", DEVICE }, { "device", DEVICE },
    [7] = { "eventing device list", PLAIN }, [8] = { "get power state", PLAIN }, [9] = { "set power state", STATE },
    [10] = { "power state", STATE }, [11] = { "new power state", STATE }, [12] = { "set power state 6", PLAIN },
    [13] = { "set power state 3", PLAIN }, [14] = { "get propagation time", STATE },
    [15] = { "set propagation time", TIMEOUT }, [16] = { "propagation time", TIMEOUT },
    [17] = { "new propagation time", TIMEOUT },
}
local power_names = {}
for number, entry in pairs(power_types) do power_names[number] = entry[1] end

local power = Proto("ztpmd", "ZTAPI power-management daemon")
local pf = {
    type = ProtoField.uint32("ztpmd.type", "Type", base.DEC, power_names),
    state = ProtoField.uint32("ztpmd.state", "Power state"),
    value = ProtoField.uint32("ztpmd.value", "Time"),
    device = ProtoField.string("ztpmd.device", "Device"),
    device_state = ProtoField.int32("ztpmd.device_state", "State of the device"),
}
power.fields = pf
local part = ProtoExpert.new("ztpmd.part", "A part of a record", expert.group.MALFORMED, expert.severity.ERROR)
power.experts = { part }

-- Up to the first NUL, if there is any.
local function text_of(range)
    local bytes = range:bytes()
    for index = 0, bytes:len() - 1 do
        if bytes:get_index(index) == 0 then
            return index == 0 and "" or range(0, index):string()
        end
    end
    return range:string()
end

function power.dissector(buffer, pinfo, tree)
    pinfo.cols.protocol = "ZTPMD"
    local sub = tree:add(power, buffer())
    if buffer:len() < 48 then
        sub:add_proto_expert_info(part)
        pinfo.cols.info = "the first " .. buffer:len() .. " bytes of a record"
        return buffer:len()
    end
    local number = buffer(0, 4):le_uint()
    local entry = power_types[number] or { "type " .. number, PLAIN }
    local info, uses = entry[1], entry[2]
    sub:add_le(pf.type, buffer(0, 4))
    if uses == STATE or uses == TIMEOUT then
        sub:add_le(pf.state, buffer(8, 4))
        info = info .. ", state " .. buffer(8, 4):le_uint()
    end
    if uses == TIMEOUT then
        sub:add_le(pf.value, buffer(12, 4))
        info = info .. ", value " .. buffer(12, 4):le_uint()
    end
    if uses == DEVICE or uses == PLAIN .. DEVICE then
        local name = text_of(buffer(8, 16))
        sub:add(pf.device, buffer(8, 16), name)
        info = info .. " " .. name
    end
    if uses == DEVICE then
        sub:add_le(pf.device_state, buffer(24, 4))
        info = info .. ", state " .. buffer(24, 4):le_int()
    end
    pinfo.cols.info = info
    return buffer:len()
end

-- ------------------------------------------------------------------------ the health-monitor daemon

local BYTE, NUMBER, TEXT, NOTHING = "byte", "number", "text", "nothing"

local health_types = {}
local function field(name, kind, get, answer, set)
    if get then health_types[get] = { "get " .. name, NOTHING } end
    health_types[answer] = { name, kind }
    if set then health_types[set] = { "set " .. name, kind } end
end
field("field-0", NUMBER, 0, 1)
field("product-type", BYTE, 2, 3)
field("product-variant", BYTE, 4, 5)
field("field-6", BYTE, 6, 7)
field("field-8", TEXT, 8, 9)
field("part-number", TEXT, 10, 11)
field("serial-number", TEXT, 12, 13)
field("field-16", BYTE, 14, 15)
field("field-17", BYTE, nil, 33, 32)
field("field-19", NUMBER, 16, 17)
field("field-21", BYTE, 18, 19)
field("value-20", BYTE, 20, 21, 25)
field("field-25", NUMBER, 22, 23)
field("value-26", BYTE, 26, 28, 27)
field("value-29", BYTE, 29, 31, 30)
field("value-32", NUMBER, 36, 38, 37)
local health_names = {}
for number, entry in pairs(health_types) do health_names[number] = entry[1] end

local health = Proto("zthmd", "ZTAPI health-monitor daemon")
local hf = {
    type = ProtoField.uint32("zthmd.type", "Type", base.DEC, health_names),
    byte = ProtoField.uint8("zthmd.byte", "Byte"),
    number = ProtoField.uint32("zthmd.number", "Number"),
    text = ProtoField.string("zthmd.text", "Text"),
}
health.fields = hf
local health_part = ProtoExpert.new("zthmd.part", "A part of a record", expert.group.MALFORMED, expert.severity.ERROR)
health.experts = { health_part }

function health.dissector(buffer, pinfo, tree)
    pinfo.cols.protocol = "ZTHMD"
    local sub = tree:add(health, buffer())
    if buffer:len() < 36 then
        sub:add_proto_expert_info(health_part)
        pinfo.cols.info = "the first " .. buffer:len() .. " bytes of a record"
        return buffer:len()
    end
    local number = buffer(0, 4):le_uint()
    local entry = health_types[number] or { "type " .. number, NOTHING }
    local info, kind = entry[1], entry[2]
    sub:add_le(hf.type, buffer(0, 4))
    if kind == BYTE then
        sub:add(hf.byte, buffer(4, 1))
        info = info .. " " .. buffer(4, 1):uint()
    elseif kind == NUMBER then
        sub:add_le(hf.number, buffer(4, 4))
        info = info .. " " .. buffer(4, 4):le_uint()
    elseif kind == TEXT then
        local text = text_of(buffer(4, 32))
        sub:add(hf.text, buffer(4, 32), text)
        info = info .. " \"" .. text .. "\""
    end
    pinfo.cols.info = info
    return buffer:len()
end

-- ------------------------------------------------------------------------ messages between processes

local ipc = Proto("ztipc", "ZTAPI message between processes")
local mf = {
    header1 = ProtoField.uint32("ztipc.header1", "Header 1"),
    header2 = ProtoField.uint32("ztipc.header2", "Header 2"),
    length = ProtoField.uint8("ztipc.length", "Length, its low 8 bits"),
    data = ProtoField.bytes("ztipc.data", "Data"),
}
ipc.fields = mf
local ipc_part = ProtoExpert.new("ztipc.part", "A part of a frame", expert.group.MALFORMED, expert.severity.ERROR)
ipc.experts = { ipc_part }

function ipc.dissector(buffer, pinfo, tree)
    pinfo.cols.protocol = "ZTIPC"
    local sub = tree:add(ipc, buffer())
    if buffer:len() < 10 then
        sub:add_proto_expert_info(ipc_part)
        pinfo.cols.info = "the first " .. buffer:len() .. " bytes of a frame"
        return buffer:len()
    end
    sub:add_le(mf.header1, buffer(0, 4))
    sub:add_le(mf.header2, buffer(4, 4))
    sub:add(mf.length, buffer(8, 1))
    sub:add(mf.data, buffer(9))
    pinfo.cols.info = "headers " .. buffer(0, 4):le_uint() .. " and " .. buffer(4, 4):le_uint() .. ", " ..
        buffer:len() - 9 .. " bytes"
    return buffer:len()
end

-- ------------------------------------------------------------------------ what ztsim captures

local sim = Proto("ztsim", "Capture of ztsim")
local protocols = { "power-management daemon", "health-monitor daemon", "IPC" }
local dissectors = { power, health, ipc }
local sf = {
    protocol = ProtoField.uint8("ztsim.protocol", "Protocol", base.DEC, protocols),
    direction = ProtoField.uint8("ztsim.direction", "Direction", base.DEC, { [0] = "from the client", "to the client" }),
    client = ProtoField.uint32("ztsim.client", "Client"),
    process = ProtoField.uint32("ztsim.process", "Process"),
}
sim.fields = sf

function sim.dissector(buffer, pinfo, tree)
    if buffer:len() < 12 then return 0 end
    local sub = tree:add(sim, buffer(0, 12))
    sub:add(sf.protocol, buffer(0, 1))
    sub:add(sf.direction, buffer(1, 1))
    sub:add_le(sf.client, buffer(4, 4))
    sub:add_le(sf.process, buffer(8, 4))
    local number = buffer(0, 1):uint()
    local server = ({ "ztpmd", "zthmd", "server" })[number] or "server"
    local client = "client " .. buffer(4, 4):le_uint()
    if buffer(1, 1):uint() == 0 then
        pinfo.cols.src, pinfo.cols.dst = client, server
    else
        pinfo.cols.src, pinfo.cols.dst = server, client
    end
    local chosen = dissectors[number]
    if chosen and buffer:len() > 12 then
        chosen.dissector(buffer(12):tvb(), pinfo, tree)
    end
    return buffer:len()
end
DissectorTable.get("wtap_encap"):add(wtap.USER0, sim)

-- ------------------------------------------------------------------------ socket messages

local message = Proto("ztsocket", "ZTAPI socket message")
local tf = {
    length = ProtoField.uint32("ztsocket.length", "Length of the record"),
    type = ProtoField.uint16("ztsocket.type", "Type"),
    flag = ProtoField.uint8("ztsocket.flag", "Flag"),
    parameter1 = ProtoField.uint16("ztsocket.parameter1", "Parameter 1"),
    parameter2 = ProtoField.uint16("ztsocket.parameter2", "Parameter 2"),
    parameter3 = ProtoField.uint16("ztsocket.parameter3", "Parameter 3"),
    rest = ProtoField.bytes("ztsocket.rest", "What a derived class adds"),
}
message.fields = tf
local no_marker = ProtoExpert.new("ztsocket.marker", "No marker where a record begins", expert.group.MALFORMED, expert.severity.ERROR)
local bad_length = ProtoExpert.new("ztsocket.bad_length", "Too short for a record", expert.group.MALFORMED, expert.severity.ERROR)
message.experts = { no_marker, bad_length }

local HEADER, SHORTEST = 19, 28

local function has_marker(buffer)
    return buffer(0, #MARKER):string() == MARKER
end

-- What is no record is taken as a whole.
local function length_of(buffer, _, offset)
    local rest = buffer(offset):tvb()
    if not has_marker(rest) then return rest:len() end
    return math.max(rest(15, 4):le_uint(), HEADER)
end

local function dissect_record(buffer, pinfo, tree)
    pinfo.cols.protocol = "ZTSOCKET"
    local sub = tree:add(message, buffer())
    if not has_marker(buffer) then
        sub:add_proto_expert_info(no_marker)
        pinfo.cols.info = "no record"
        return buffer:len()
    end
    sub:add_le(tf.length, buffer(15, 4))
    if buffer:len() < SHORTEST then
        sub:add_proto_expert_info(bad_length)
        pinfo.cols.info = "a record of " .. buffer(15, 4):le_uint() .. " bytes"
        return buffer:len()
    end
    sub:add_le(tf.type, buffer(19, 2))
    sub:add(tf.flag, buffer(21, 1))
    sub:add_le(tf.parameter1, buffer(22, 2))
    sub:add_le(tf.parameter2, buffer(24, 2))
    sub:add_le(tf.parameter3, buffer(26, 2))
    if buffer:len() > SHORTEST then sub:add(tf.rest, buffer(SHORTEST)) end
    pinfo.cols.info = string.format("type %d, flag %d, parameters %d %d %d, %d bytes more", buffer(19, 2):le_uint(),
        buffer(21, 1):uint(), buffer(22, 2):le_uint(), buffer(24, 2):le_uint(), buffer(26, 2):le_uint(), buffer:len() - SHORTEST)
    return buffer:len()
end

function message.dissector(buffer, pinfo, tree)
    dissect_tcp_pdus(buffer, tree, HEADER, length_of, dissect_record)
    return buffer:len()
end
DissectorTable.get("tcp.port"):add(PORT, message)
