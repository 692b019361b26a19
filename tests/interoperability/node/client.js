// A small client on the npm package ws, which reports what it sees as lines of JSON: {"event":NAME,…}.
//
//   exchange   subscribes and publishes, and closes once it has got what it has published
//   fragments  the same, with its messages cut into fragments and pings between them
//   pings      pings the service, then is silent until the service has asked for a sign twice
//   slow       subscribes and reads nothing until it is told to; comes back from where it was until it has everything
//   follow     subscribes, and reads until the service closes the connection
//   terminate  cuts the connection
//   destroy    closes the socket in the middle of a message
//   reset      resets the connection
//   oversized  sends a message of a mebibyte and a byte
//   garbled    sends a text that is not UTF-8
//
// usage: node client.js SCENARIO URL [--authority FILE] [--token TOKEN] [--count N]
//
// It ends when its scenario does, or with its standard input.

'use strict';

const fs = require('node:fs');
const { parseArgs } = require('node:util');

// Where Debian keeps the packages of npm, which only its own build of Node.js knows.
module.paths.push('/usr/share/nodejs');
const { WebSocket } = require('ws');

const { positionals, values } = parseArgs({
    allowPositionals: true,
    options: { authority: { type: 'string' }, token: { type: 'string' }, count: { type: 'string' } },
});
const [scenario, url] = positionals;

function report(event, content) {
    console.log(JSON.stringify({ event, ...content }));
}

function connect() {
    const options = { headers: {} };
    if (values.authority !== undefined) {
        options.ca = fs.readFileSync(values.authority);
    }
    if (values.token !== undefined) {
        options.headers.Authorization = `Bearer ${values.token}`;
    }
    const socket = new WebSocket(url, options);
    socket.on('open', () => report('opened'));
    socket.on('error', (error) => report('error', { code: error.code, message: error.message }));
    socket.on('close', (code, reason) => report('closed', { code, reason: reason.toString() }));
    socket.on('unexpected-response', (request, response) => {
        report('refused', { status: response.statusCode });
        request.destroy();
    });
    return socket;
}

function subscribeRequest(updatedAt) {
    const topic = updatedAt === undefined ? { name: 'scores' } : { name: 'scores', updatedAt };
    return JSON.stringify({
        category: 'vexa',
        type: 'subscribe',
        payload: { operationId: 'O-node', topics: [topic] },
    });
}

function publishRequest(requestId, messages) {
    return JSON.stringify({
        category: 'vexa',
        type: 'publish',
        payload: { requestId, topic: { name: 'scores' }, messages },
    });
}

function sendInFragments(socket, text, size) {
    const bytes = Buffer.from(text);
    for (let begin = 0; begin < bytes.length; begin += size) {
        const isLast = begin + size >= bytes.length;
        socket.send(bytes.subarray(begin, begin + size), { binary: false, fin: isLast });
        if (!isLast) {
            socket.ping('between');
        }
    }
}

// Calls the handler with each entry of data that comes, and reports every other message.
function onEntries(socket, handler) {
    socket.on('message', (data, isBinary) => {
        const message = JSON.parse(data);
        if (message.type !== 'data' || isBinary) {
            report('message', { message, isBinary });
            return;
        }
        message.messages.forEach(handler);
    });
}

function closeAfterEntries(socket, count) {
    const payloads = [];
    onEntries(socket, (entry) => {
        payloads.push(entry.payload);
        if (payloads.length === count) {
            report('entries', { payloads });
            socket.close(1000, 'enough');
        }
    });
}

function whenSubscribed(act) {
    const socket = connect();
    socket.on('open', () => socket.send(subscribeRequest()));
    socket.once('message', () => act(socket));
}

const scenarios = {
    exchange() {
        const socket = connect();
        socket.on('open', () => {
            socket.send(subscribeRequest());
            socket.send(publishRequest('P-1', [{ number: 1 }, { number: 2 }, { number: 3 }]));
            socket.send(publishRequest('P-2', [{ number: 4, text: 'α€😀' }]));
        });
        closeAfterEntries(socket, 4);
    },

    fragments() {
        const socket = connect();
        let pongs = 0;
        socket.on('pong', (payload) => (pongs += payload.toString() === 'between' ? 1 : 0));
        socket.on('open', () => {
            // Characters of several bytes are cut apart, since fragments are of bytes.
            sendInFragments(socket, subscribeRequest(), 1);
            sendInFragments(socket, publishRequest('P-1', [{ text: 'α€😀'.repeat(100) }]), 1);
            sendInFragments(socket, publishRequest('P-2', [{ text: 'x'.repeat(200000) }]), 1000);
        });
        socket.on('close', () => report('pongs', { any: pongs > 0 }));
        closeAfterEntries(socket, 2);
    },

    pings() {
        const socket = connect();
        let asked = 0;
        let pongs = 0;
        socket.on('open', () => socket.ping('ping 0'));
        socket.on('pong', (payload) => {
            report('pong', { payload: payload.toString() });
            pongs += 1;
            if (pongs < 5) {
                socket.ping(`ping ${pongs}`);
            }
        });
        socket.on('ping', () => {
            asked += 1;
            if (asked === 2) {
                report('asked');
                socket.send(subscribeRequest());
            }
        });
        socket.on('message', () => socket.close(1000));
        onEntries(socket, () => {});
    },

    slow() {
        const count = Number(values.count);
        const numbers = [];
        const codes = [];
        let seen;
        const follow = () => {
            const socket = connect();
            socket.on('open', () => socket.send(subscribeRequest(seen)));
            socket.once('message', () => {
                if (codes.length === 0) {
                    socket.pause();
                    // A socket that is not read from keeps no process alive.
                    process.stdin.ref();
                    process.stdin.once('data', () => {
                        process.stdin.unref();
                        socket.resume();
                    });
                }
            });
            onEntries(socket, (entry) => {
                seen = entry.payload.updatedAt;
                numbers.push(entry.payload.number);
                if (numbers.length === count) {
                    socket.close(1000);
                }
            });
            socket.on('close', (code) => {
                codes.push(code);
                if (numbers.length < count) {
                    follow();
                } else {
                    report('caughtUp', { numbers, codes });
                    process.exit(0);
                }
            });
        };
        follow();
    },

    follow() {
        const socket = connect();
        socket.on('open', () => socket.send(subscribeRequest()));
        onEntries(socket, (entry) => report('entry', { payload: entry.payload }));
    },

    terminate() {
        whenSubscribed((socket) => socket.terminate());
    },

    destroy() {
        whenSubscribed((socket) => {
            const half = Buffer.from([0x81, 0xfe, 0x10, 0x00, 0, 0, 0, 0, ...Buffer.from('{"category":')]);
            socket._socket.write(half, () => socket._socket.destroy());
        });
    },

    reset() {
        // A TLS socket cannot be reset; it is cut without a word.
        whenSubscribed((socket) => {
            const raw = socket._socket;
            return raw.encrypted ? raw.destroy() : raw.resetAndDestroy();
        });
    },

    oversized() {
        whenSubscribed((socket) => socket.send(' '.repeat(1024 * 1024 + 1)));
    },

    garbled() {
        whenSubscribed((socket) =>
            socket.send(Buffer.from([0x7b, 0x22, 0xc3, 0x28, 0x22, 0x3a, 0x31, 0x7d]), { binary: false }),
        );
    },
};

process.stdin.on('end', () => process.exit(0));
process.stdin.resume();
process.stdin.unref();
scenarios[scenario]();
