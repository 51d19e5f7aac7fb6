// sound_worklet: the queue on the browser's own sound thread.
import { sound_queue } from "./sound_queue.js";

class zerv_speaker extends AudioWorkletProcessor {
    constructor() {
        super();
        this.queue = new sound_queue((come, left) => this.port.postMessage([come, left]));
        this.port.onmessage = (event) => {
            if (event.data === "hush")
                this.queue.hush();
            else
                this.queue.add(new Int16Array(event.data));
        };
    }

    process(inputs, [output]) {
        this.queue.fill(output[0], output[1]);
        return true;
    }
}

registerProcessor("zerv-speaker", zerv_speaker);
