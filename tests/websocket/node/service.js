// A small service on the npm package ws. The path of a connection names how it behaves:
//
//   /echo       answers each message with {"category":"vexa","received":MESSAGE}
//   /fragments  sends messages in fragments, with pings between them
//   /pings      sends a ping after the other and a message for each pong
//   /slow       reads in short spells only; answers the message "end" with what it has received until then
//   /reset      resets the connection at the first message
//
// usage: node service.js [KEY CERTIFICATE]
//
// Its first line of output is the port that it listens on. It ends with its standard input.

'use strict';

const http = require('node:http');
const https = require('node:https');
const fs = require('node:fs');

// Where Debian keeps the packages of npm, which only its own build of Node.js knows.
module.paths.push('/usr/share/nodejs');
const { WebSocketServer } = require('ws');

const [key, certificate] = process.argv.slice(2);
const server =
    key === undefined
        ? http.createServer()
        : https.createServer({ key: fs.readFileSync(key), cert: fs.readFileSync(certificate) });

function message(content) {
    return JSON.stringify({ category: 'vexa', ...content });
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

const behaviours = {
    '/echo': (socket) => {
        socket.on('message', (data) => socket.send(message({ received: JSON.parse(data) })));
    },

    '/fragments': (socket) => {
        // Characters of several bytes are cut apart, since fragments are of bytes.
        sendInFragments(socket, message({ text: 'α€😀'.repeat(100) }), 1);
        sendInFragments(socket, message({ text: 'x'.repeat(200000) }), 1000);
        sendInFragments(socket, message({ text: 'last' }), 7);
    },

    '/pings': (socket) => {
        let count = 0;
        socket.on('pong', (payload) => {
            socket.send(message({ pong: payload.toString() }));
            count += 1;
            if (count < 5) {
                socket.ping(`ping ${count}`);
            }
        });
        socket.ping('ping 0');
    },

    '/slow': (socket) => {
        const numbers = [];
        socket.on('message', (data) => {
            const { number, type } = JSON.parse(data);
            if (type === 'end') {
                const isOrdered = numbers.every((each, index) => index === 0 || numbers[index - 1] < each);
                socket.send(message({ count: numbers.length, isOrdered }));
                return;
            }
            numbers.push(number);
            if (numbers.length % 50 === 0) {
                socket.pause();
                setTimeout(() => socket.resume(), 5);
            }
        });
    },

    '/reset': (socket) => {
        // A TLS socket cannot be reset; it is cut without a word.
        const raw = socket._socket;
        socket.on('message', () => (raw.encrypted ? raw.destroy() : raw.resetAndDestroy()));
    },
};

const webSockets = new WebSocketServer({ server });
webSockets.on('connection', (socket, request) => {
    socket.on('error', () => {});
    behaviours[request.url](socket);
});

server.listen(0, '127.0.0.1', () => console.log(server.address().port));

process.stdin.resume();
process.stdin.on('end', () => process.exit(0));
