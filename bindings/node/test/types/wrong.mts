// A call the types must refuse: compiling this file has to fail.
import { Vanto, Receipt } from 'vantoconnect';

const vanto = new Vanto({ address: '127.0.0.1' });
// print takes a Receipt, and its options have no "copies".
void vanto.print(new Receipt(), { copies: 2 });
