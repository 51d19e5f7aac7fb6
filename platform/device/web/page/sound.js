// sound: what comes from the program, played by the browser. Browsers allow it after a first touch.
import { heard_message, listen_message } from "./wire.js";
import { sound_queue } from "./sound_queue.js";

const rate = 44100;
const rest_ms = 5000; // without sound for so long the browser's sound is put to sleep

export function make_sound(send, changed) {
    let context = null, speaker = null; // speaker: { add, hush }
    let wanted = true; // nobody pressed the button that mutes
    let playing = false;
    let rest = 0;

    function heard(come, left) {
        send(heard_message(come, left));
    }

    async function make_worklet() {
        await context.audioWorklet.addModule("sound_worklet.js");
        const node = new AudioWorkletNode(context, "zerv-speaker",
            { numberOfInputs: 0, outputChannelCount: [2] });
        node.port.onmessage = (event) => heard(...event.data);
        node.connect(context.destination);
        return {
            add: (buffer) => node.port.postMessage(buffer, [buffer]),
            hush: () => node.port.postMessage("hush"),
        };
    }

    // Pages that came from another machine without encryption have no worklets.
    function make_plain() {
        const queue = new sound_queue(heard);
        const node = context.createScriptProcessor(1024, 0, 2);
        node.onaudioprocess = (event) => {
            const to = event.outputBuffer;
            const [left, right] = [to.getChannelData(0), to.getChannelData(1)];
            left.fill(0);
            right.fill(0);
            queue.fill(left, right);
        };
        node.connect(context.destination);
        return { node, add: (buffer) => queue.add(new Int16Array(buffer)), hush: () => queue.hush() };
    }

    async function start() {
        context = new AudioContext({ sampleRate: rate, latencyHint: "interactive" });
        await context.resume();
        speaker = context.audioWorklet ? await make_worklet() : make_plain();
        tell();
    }

    function tell() {
        playing = wanted && speaker !== null;
        send(listen_message(playing));
        changed(playing);
    }

    function sleep_later() {
        clearTimeout(rest);
        rest = setTimeout(() => context.suspend(), rest_ms);
    }

    return {
        // Within a touch or a key press.
        touched() {
            if (wanted && !context)
                start().catch(() => changed(false)); // the button stays, to try again
        },
        toggle() {
            wanted = !playing;
            if (wanted && !context)
                start().catch(() => changed(false));
            else if (speaker)
                tell();
            if (!wanted && speaker)
                speaker.hush();
        },
        connected() {
            if (speaker) {
                speaker.hush();
                tell();
            }
        },
        // message: three bytes of head behind its kind, then the samples
        play(message) {
            if (!playing)
                return;
            if (context.state === "suspended")
                context.resume();
            sleep_later();
            speaker.add(message.slice(4));
        },
        hush() {
            if (speaker)
                speaker.hush();
        },
    };
}
